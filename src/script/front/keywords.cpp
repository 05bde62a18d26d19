#include "script/front/keywords.h"

#include <cstring>
#include <string_view>

#include "base/global.h"
#include "base/hash.h"
#include "script/front/lexer.h"

namespace setup {

namespace {

struct KeywordRow {
  const char* name;
  std::int32_t token;
  ValueType type;
  std::int32_t value;
};

// The table in its stored order; lookups take the first row of a name.
constexpr KeywordRow kRows[kKeywordCount] = {
    {"if", TK_IF, ValueType::None, 0},
    {"then", TK_THEN, ValueType::None, 0},
    {"else", TK_ELSE, ValueType::None, 0},
    {"end", TK_END, ValueType::None, 0},
    {"do", TK_DO, ValueType::None, 0},
    {"while", TK_WHILE, ValueType::None, 0},
    {"continue", TK_CONTINUE, ValueType::None, 0},
    {"return", TK_RETURN, ValueType::None, 0},
    {"break", TK_BREAK, ValueType::None, 0},
    {"WINDIR", TK_CONST, ValueType::String, 0},
    {"WINDIR_SYSTEM", TK_CONST, ValueType::String, 0},
    {"WINDIR_SYSTEM32", TK_CONST, ValueType::String, 0},
    {"WINDIR_SYSTEM32_DRIVERS", TK_CONST, ValueType::String, 0},
    {"WINDIR_INF", TK_CONST, ValueType::String, 0},
    {"WINDIR_TEMP", TK_CONST, ValueType::String, 0},
    {"string", TK_KW_STRING, ValueType::None, 0},
    {"num", TK_KW_NUM, ValueType::None, 0},
    {"HKEY_LOCAL_MACHINE", TK_CONST, ValueType::Num, static_cast<std::int32_t>(0x80000002u)},
    {"HKEY_CLASSES_ROOT", TK_CONST, ValueType::Num, static_cast<std::int32_t>(0x80000000u)},
    {"HKEY_CURRENT_USER", TK_CONST, ValueType::Num, static_cast<std::int32_t>(0x80000001u)},
    {"HKEY_USERS", TK_CONST, ValueType::Num, static_cast<std::int32_t>(0x80000003u)},
    {"REG_TYPE_SZ", TK_CONST, ValueType::Num, 1},
    {"REG_TYPE_DWORD", TK_CONST, ValueType::Num, 4},
    {"MSG_ICONINFORMATION", TK_CONST, ValueType::Num, 0x40},
    {"MSG_ICONERROR", TK_CONST, ValueType::Num, 0x10},
    {"MSG_YESNO", TK_CONST, ValueType::Num, 4},
    {"define", TK_DEFINE, ValueType::None, 0},
    {"OS_WIN95", TK_CONST, ValueType::Num, 0},
    {"OS_WIN98", TK_CONST, ValueType::Num, 1},
    {"OS_WINME", TK_CONST, ValueType::Num, 2},
    {"OS_WINNT", TK_CONST, ValueType::Num, 3},
    {"OS_WIN2K", TK_CONST, ValueType::Num, 4},
    {"OS_WINXP", TK_CONST, ValueType::Num, 5},
    {"OS_LATERONWINXP", TK_CONST, ValueType::Num, 6},
    {"include", TK_INCLUDE, ValueType::None, 0},
    {"switch", TK_SWITCH, ValueType::None, 0},
    {"case", TK_CASE, ValueType::None, 0},
    {"default", TK_DEFAULT, ValueType::None, 0},
    {"_mscall", TK_MSCALL, ValueType::None, 0},
    {"WINDIR_ROOT", TK_CONST, ValueType::String, 0},
    {"SECU_DEFAULT", TK_CONST, ValueType::Num, 0},
    {"SECU_FULL", TK_CONST, ValueType::Num, 1},
    {"OS_VISTA", TK_CONST, ValueType::Num, 7},
};

// The rows behind theGlobal.m_Keywords; they live as long as the library.
KeywordEntry* KeywordRows() {
  static KeywordEntry rows[kKeywordCount];
  return rows;
}

}  // namespace

void InitKeywordTable(Global& global) {
  global.m_Keywords = KeywordRows();
  global.m_nKeywordCount = kKeywordCount;
  for (int i = 0; i < kKeywordCount; ++i) {
    KeywordEntry& entry = global.m_Keywords[i];
    entry.szName = kRows[i].name;
    entry.nToken = kRows[i].token;
    entry.nType = kRows[i].type;
    entry.szValue.reset();
    entry.nValue = kRows[i].value;
  }
}

namespace {

// Name -> first row of that name, so that the lexer does not compare every
// identifier with all 43 rows. Built on first use; the rows' names are fixed
// at construction (only the directory constants' values change later).
const NameIndex& KeywordIndex() {
  static NameIndex index;
  static int rows = -1;
  if (rows != theGlobal.m_nKeywordCount) {
    index.Clear();
    for (int i = 0; i < theGlobal.m_nKeywordCount && i < kKeywordCount; ++i) {
      if (theGlobal.m_Keywords[i].szName != nullptr) index.Add(theGlobal.m_Keywords[i].szName, i);
    }
    rows = theGlobal.m_nKeywordCount;
  }
  return index;
}

}  // namespace

std::int32_t FindKeyword(const char* name) {
  if (name == nullptr) return TK_IDENT;
  const int row = KeywordIndex().Find(name);
  return row < 0 ? TK_IDENT : theGlobal.m_Keywords[row].nToken;
}

int GetConstValue(const char* name, std::optional<std::string>* text, std::int32_t* number,
                  ValueType* type) {
  if (name == nullptr || type == nullptr) return 0;
  if (text != nullptr) text->reset();
  for (int i = 0; i < theGlobal.m_nKeywordCount; ++i) {
    const KeywordEntry& entry = theGlobal.m_Keywords[i];
    if (entry.nToken != TK_CONST || std::strcmp(entry.szName, name) != 0) continue;
    if (entry.nType == ValueType::String) {
      if (text != nullptr) *text = entry.szValue;
      *type = ValueType::String;
    } else if (entry.nType == ValueType::Num) {
      if (number != nullptr) *number = entry.nValue;
      *type = ValueType::Num;
    }
    return 1;
  }
  return 1;
}

}  // namespace setup
