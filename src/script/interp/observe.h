// What the interpreter tells theGlobal.m_pObserver (base/observer.h). Every
// caller tests the pointer first, so the hooks cost one branch when nobody
// watches; these out-of-line helpers do the rest.
#pragma once

#include <cstdint>

#include "script/interp/eval.h"

namespace setup {

struct BuiltinEntry;
struct BuiltinArg;

// Describes the statements, branch points and function bodies of the
// compiled script (RunMain, before the global statements run).
void DescribeScript();
[[gnu::cold]] void ObserveStatement(SyntaxNode* node);
[[gnu::cold]] void ObserveBranch(SyntaxNode* node, std::int32_t branch);
// The section of a switch that `selector` selects, as RunSections finds it.
[[gnu::cold]] void ObserveSwitch(SyntaxNode* node, const Value& selector);
// A call of `function` by the walk, its `count` arguments on top of the value stack.
[[gnu::cold]] void ObserveCall(SyntaxNode* node, const FunctionEntry& function);
// A direct call (loop machine) with its num arguments.
[[gnu::cold]] void ObserveDirectCall(SyntaxNode* node, const FunctionEntry& function,
                                     const std::int32_t* args);
// A direct call with its arguments, the first cells of its frame.
[[gnu::cold]] void ObserveDirectCall(SyntaxNode* node, const FunctionEntry& function,
                                     Variable* const* cells);
// The end of a call: its result, or none after a failure.
[[gnu::cold]] void ObserveReturn(SyntaxNode* node, const Value* result);
// The end of a direct call with its result: a num, or a string's text and size.
[[gnu::cold]] void ObserveDirectReturn(SyntaxNode* node, std::int32_t result);
[[gnu::cold]] void ObserveDirectReturn(SyntaxNode* node, const std::optional<std::string>& text,
                                       std::int32_t size);
// A built-in's handler answered `answer`; its arguments are still on the value stack.
[[gnu::cold]] void ObserveBuiltin(SyntaxNode* node, const BuiltinEntry& entry, std::int32_t answer,
                                  const BuiltinArg* args);

}  // namespace setup
