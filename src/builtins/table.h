// The built-in function table and the handlers' argument convention.
#pragma once

#include <cstdint>

namespace setup {

class Global;
struct BuiltinEntry;

// Fills the 40 rows and their parameter lists (construction of theGlobal).
void InitBuiltinTable(Global& global);
// The entry named `name` exactly, or none.
BuiltinEntry* GetBuiltinEntry(const char* name);
// The token code (7 to 46) of the built-in named `name`, or 1.
std::int32_t FindBuiltin(const char* name);

}  // namespace setup
