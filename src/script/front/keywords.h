// The keyword and constant table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace setup {

class Global;
enum class ValueType : std::int32_t;

// Fills the 43 rows in their stored order (construction of theGlobal).
void InitKeywordTable(Global& global);
// The token code of the first row named `name`, or 1 (identifier).
std::int32_t FindKeyword(const char* name);
// The value of the predefined constant `name`: a copy of a string constant's
// text (type 3) or a num constant's number (type 2). 0 when an out holder is missing.
int GetConstValue(const char* name, std::optional<std::string>* text, std::int32_t* number,
                  ValueType* type);

}  // namespace setup
