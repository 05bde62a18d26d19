// The run driver: global statements, then main.
#pragma once

#include <cstdint>
#include <string>

#include "script/store/node.h"

namespace setup {

// Prepares the globals, runs the global statements and calls main. On
// success stores main's number in `result` when main returned a num. 0 when
// the run failed or there is no main (no message for the latter).
[[nodiscard]] int RunMain(std::int32_t* result);

// Clears the limits of a run: the step count, the element budget, the mark
// of a run stopped by a limit. RunMain starts with it; Action too, since the
// compiler evaluates macro constants before the run.
void ResetRunLimits();

// The call node for main, one argument-less item per parameter of main, and
// main's parameter values (0 or no text) pushed on the value stack.
[[nodiscard]] int PrepareMainCall(NodePtr& node);

// ---- Call steps (script functions and built-ins) ---------------------------------------
[[nodiscard]] int _before_gen_callexfun(SyntaxNode* node);
[[nodiscard]] int EnterFunction(const std::string& name);
int LeaveFunction();
[[nodiscard]] int _after_gen_callexfun(const std::string& name);
[[nodiscard]] int _before_gen_callinlinefun(SyntaxNode* node);
[[nodiscard]] int _after_gen_callinlinefun(SyntaxNode* node);

}  // namespace setup
