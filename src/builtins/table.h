// The built-in function table and the handlers' argument convention.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "script/store/symbols.h"

namespace setup {

class Global;

constexpr int kBuiltinCount = 40;

struct SyntaxNode;
// A built-in's handler: takes the call node (unused) and answers its result.
using BuiltinHandler = std::int32_t (*)(SyntaxNode* node);

// One row of the built-in function table.
constexpr int kMaxBuiltinParams = 5;  // parameters of a built-in at most

struct BuiltinEntry {
  const char* szName = nullptr;
  std::int32_t nToken = 0;
  ValueType nRetType = ValueType::None;
  std::int32_t nParamCount = 0;
  ParamEntry pParams[kMaxBuiltinParams];  // the first nParamCount are used
  BuiltinHandler pfnHandler = nullptr;
};

// Fills the 40 rows and their parameter lists (construction of theGlobal).
void InitBuiltinTable(Global& global);
// The entry named `name` exactly, or none.
BuiltinEntry* GetBuiltinEntry(const char* name);

// ---- The handlers' argument convention ---------------------------------------------
// When a handler runs, the call's arguments are the ones set with
// SetBuiltinArgs. `index` counts in script order from 0; `count` is the
// handler's own parameter count.

// One argument of the running built-in call: type, number, and the text of
// a string (none = no text storage). The text belongs to the caller (a
// temporary, or a variable that nothing can change before the handler
// returns); the handler only reads it.
struct BuiltinArg {
  ValueType m_nType = ValueType::None;
  std::int32_t m_nNum = 0;
  const std::optional<std::string>* m_pText = nullptr;
};
// Makes the `count` entries of `args` the arguments that ArgText and ArgNum
// read; the caller keeps them alive while the handler runs and clears them
// (none, 0) afterwards.
void SetBuiltinArgs(const BuiltinArg* args, int count);

// The text of a string argument, or none when the value has no text storage
// (the literal "" and never-assigned strings): a missing argument.
const char* ArgText(int index, int count);
// The number of a num argument into *out; false when the value has none.
bool ArgNum(int index, int count, std::int32_t* out);
// Puts a fresh empty string value into theStringResult and answers the
// location of its text: the out-parameter of a string built-in's operation.
std::optional<std::string>* ResetStringResult();

}  // namespace setup
