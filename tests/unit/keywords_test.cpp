// The keyword and constant table as construction leaves it.
#include "script/front/keywords.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "base/global.h"

namespace setup {
namespace {

// Row positions matter: the first row of a name wins, and start-up walks the
// rows in order.
TEST(KeywordTable, RowsInStoredOrder) {
  ASSERT_EQ(theGlobal.m_nKeywordCount, 43);
  const struct {
    int row;  // 1-based
    const char* name;
    std::int32_t token;
    ValueType type;
    std::int32_t value;
  } spots[] = {
      {1, "if", 53, ValueType::None, 0},
      {4, "end", 98, ValueType::None, 0},
      {10, "WINDIR", 4, ValueType::String, 0},
      {15, "WINDIR_TEMP", 4, ValueType::String, 0},
      {16, "string", 5, ValueType::None, 0},
      {18, "HKEY_LOCAL_MACHINE", 4, ValueType::Num, static_cast<std::int32_t>(0x80000002u)},
      {21, "HKEY_USERS", 4, ValueType::Num, static_cast<std::int32_t>(0x80000003u)},
      {24, "MSG_ICONINFORMATION", 4, ValueType::Num, 0x40},
      {27, "define", 89, ValueType::None, 0},
      {31, "OS_WINNT", 4, ValueType::Num, 3},
      {39, "_mscall", 85, ValueType::None, 0},
      {40, "WINDIR_ROOT", 4, ValueType::String, 0},
      {43, "OS_VISTA", 4, ValueType::Num, 7},
  };
  for (const auto& spot : spots) {
    const KeywordEntry& entry = theGlobal.m_Keywords[spot.row - 1];
    SCOPED_TRACE(spot.name);
    EXPECT_STREQ(entry.szName, spot.name);
    EXPECT_EQ(entry.nToken, spot.token);
    EXPECT_EQ(entry.nType, spot.type);
    EXPECT_EQ(entry.nValue, spot.value);
  }
}

TEST(KeywordTable, LookupIsCaseSensitive) {
  EXPECT_EQ(FindKeyword("while"), 60);
  EXPECT_EQ(FindKeyword("While"), 1);
  EXPECT_EQ(FindKeyword("end"), 98);  // the end-of-input code
  EXPECT_EQ(FindKeyword("OS_VISTA"), 4);
  EXPECT_EQ(FindKeyword("os_vista"), 1);
  EXPECT_EQ(FindKeyword(""), 1);
  EXPECT_EQ(FindKeyword(nullptr), 1);
}

TEST(KeywordTable, ConstantValues) {
  std::optional<std::string> text;
  std::int32_t number = -1;
  ValueType type = ValueType::None;
  ASSERT_EQ(GetConstValue("HKEY_LOCAL_MACHINE", &text, &number, &type), 1);
  EXPECT_EQ(type, ValueType::Num);
  EXPECT_EQ(static_cast<std::uint32_t>(number), 0x80000002u);
  ASSERT_EQ(GetConstValue("OS_LATERONWINXP", &text, &number, &type), 1);
  EXPECT_EQ(number, 6);
}

TEST(KeywordTable, DirectoryConstantsHoldNoTextBeforeStartUp) {
  if (theGlobal.m_szFileName[0] != '\0') GTEST_SKIP() << "the library is attached";
  for (int i = 0; i < kKeywordCount; ++i) {
    const KeywordEntry& entry = theGlobal.m_Keywords[i];
    if (entry.nType == ValueType::String) {
      EXPECT_EQ(std::strncmp(entry.szName, "WINDIR", 6), 0) << entry.szName;
      EXPECT_FALSE(entry.szValue.has_value()) << entry.szName;
    }
  }
}

}  // namespace
}  // namespace setup
