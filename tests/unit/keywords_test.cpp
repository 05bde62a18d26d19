// The keyword and constant table as construction leaves it.
#include "script/front/keywords.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "entry/global.h"

namespace setup {
namespace {

struct Row {
  const char* name;
  std::int32_t token;
  ValueType type;
  std::int32_t value;
};

// Every row in its stored order; lookups and the lexer depend on the order.
const Row kExpected[] = {
    {"if", 53, ValueType::None, 0},
    {"then", 54, ValueType::None, 0},
    {"else", 55, ValueType::None, 0},
    {"end", 98, ValueType::None, 0},
    {"do", 59, ValueType::None, 0},
    {"while", 60, ValueType::None, 0},
    {"continue", 84, ValueType::None, 0},
    {"return", 88, ValueType::None, 0},
    {"break", 83, ValueType::None, 0},
    {"WINDIR", 4, ValueType::String, 0},
    {"WINDIR_SYSTEM", 4, ValueType::String, 0},
    {"WINDIR_SYSTEM32", 4, ValueType::String, 0},
    {"WINDIR_SYSTEM32_DRIVERS", 4, ValueType::String, 0},
    {"WINDIR_INF", 4, ValueType::String, 0},
    {"WINDIR_TEMP", 4, ValueType::String, 0},
    {"string", 5, ValueType::None, 0},
    {"num", 6, ValueType::None, 0},
    {"HKEY_LOCAL_MACHINE", 4, ValueType::Num, static_cast<std::int32_t>(0x80000002u)},
    {"HKEY_CLASSES_ROOT", 4, ValueType::Num, static_cast<std::int32_t>(0x80000000u)},
    {"HKEY_CURRENT_USER", 4, ValueType::Num, static_cast<std::int32_t>(0x80000001u)},
    {"HKEY_USERS", 4, ValueType::Num, static_cast<std::int32_t>(0x80000003u)},
    {"REG_TYPE_SZ", 4, ValueType::Num, 1},
    {"REG_TYPE_DWORD", 4, ValueType::Num, 4},
    {"MSG_ICONINFORMATION", 4, ValueType::Num, 0x40},
    {"MSG_ICONERROR", 4, ValueType::Num, 0x10},
    {"MSG_YESNO", 4, ValueType::Num, 4},
    {"define", 89, ValueType::None, 0},
    {"OS_WIN95", 4, ValueType::Num, 0},
    {"OS_WIN98", 4, ValueType::Num, 1},
    {"OS_WINME", 4, ValueType::Num, 2},
    {"OS_WINNT", 4, ValueType::Num, 3},
    {"OS_WIN2K", 4, ValueType::Num, 4},
    {"OS_WINXP", 4, ValueType::Num, 5},
    {"OS_LATERONWINXP", 4, ValueType::Num, 6},
    {"include", 56, ValueType::None, 0},
    {"switch", 57, ValueType::None, 0},
    {"case", 58, ValueType::None, 0},
    {"default", 87, ValueType::None, 0},
    {"_mscall", 85, ValueType::None, 0},
    {"WINDIR_ROOT", 4, ValueType::String, 0},
    {"SECU_DEFAULT", 4, ValueType::Num, 0},
    {"SECU_FULL", 4, ValueType::Num, 1},
    {"OS_VISTA", 4, ValueType::Num, 7},
};

TEST(KeywordTable, RowsInStoredOrder) {
  ASSERT_EQ(theGlobal.m_nKeywordCount, 43);
  static_assert(sizeof kExpected / sizeof kExpected[0] == kKeywordCount);
  for (int i = 0; i < kKeywordCount; ++i) {
    const KeywordEntry& entry = theGlobal.m_Keywords[i];
    SCOPED_TRACE(std::string("row ") + std::to_string(i + 1) + " " + kExpected[i].name);
    ASSERT_NE(entry.szName, nullptr);
    EXPECT_STREQ(entry.szName, kExpected[i].name);
    EXPECT_EQ(entry.nToken, kExpected[i].token);
    EXPECT_EQ(entry.nType, kExpected[i].type);
    EXPECT_EQ(entry.nValue, kExpected[i].value);
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
