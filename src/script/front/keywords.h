// The keyword and constant table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "script/store/value.h"

namespace setup {

class Global;

constexpr int kKeywordCount = 43;

// One row of the keyword and constant table.
struct KeywordEntry {
  const char* szName = nullptr;
  std::int32_t nToken = 0;
  ValueType nType = ValueType::None;   // None for a keyword
  std::optional<std::string> szValue;  // string constants (the WINDIR values)
  std::int32_t nValue = 0;             // num constants
};

// Fills the 43 rows in their stored order (construction of theGlobal).
void InitKeywordTable(Global& global);
// The token code of the first row named `name`, or 1 (identifier).
std::int32_t FindKeyword(const char* name);
// The value of the predefined constant `name`: a copy of a string constant's
// text (type 3) or a num constant's number (type 2). 0 when an out holder is missing.
int GetConstValue(const char* name, std::optional<std::string>* text, std::int32_t* number,
                  ValueType* type);

}  // namespace setup
