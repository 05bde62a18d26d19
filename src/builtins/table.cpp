// Placeholder until the built-in table lands; keeps the tree linking.
#include "builtins/table.h"

#include "entry/global.h"

namespace setup {

void InitBuiltinTable(Global& global) { global.m_nBuiltinCount = 0; }
BuiltinEntry* GetBuiltinEntry(const char*) { return nullptr; }
std::int32_t FindBuiltin(const char*) { return TK_IDENT; }

}  // namespace setup
