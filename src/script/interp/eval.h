// The evaluators behind Generate and the helpers they share. Internal to the
// interpreter: everything else runs nodes through Generate.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "script/store/node.h"
#include "script/store/value.h"

namespace setup {

// ---- Expressions ----------------------------------------------------------------
[[nodiscard]] int OpT(SyntaxNode* node);
[[nodiscard]] int AssignT(SyntaxNode* node);
[[nodiscard]] int AssignInitializingT(SyntaxNode* node);
[[nodiscard]] int IdT(SyntaxNode* node);
[[nodiscard]] int Id_ArrayT(SyntaxNode* node);
[[nodiscard]] int NumT(SyntaxNode* node);
[[nodiscard]] int StringT(SyntaxNode* node);
[[nodiscard]] int ConstT(SyntaxNode* node);
[[nodiscard]] int ArrayContentT(SyntaxNode* node);

// ---- Statements -------------------------------------------------------------------
[[nodiscard]] int IfT(SyntaxNode* node);
[[nodiscard]] int WhileT(SyntaxNode* node);
[[nodiscard]] int SwitchT(SyntaxNode* node);
[[nodiscard]] int BreakT(SyntaxNode* node);
[[nodiscard]] int ContinueT(SyntaxNode* node);
[[nodiscard]] int ReturnT(SyntaxNode* node);

// ---- Calls ----------------------------------------------------------------------------
[[nodiscard]] int CallT(SyntaxNode* node);
[[nodiscard]] int InLineFunT(SyntaxNode* node);
[[nodiscard]] int ExternalFunT(SyntaxNode* node);

// The storage that an assignment writes: a num cell or a text reference,
// together with the variable that owns it.
struct StorageSlot {
  Variable* m_pVariable = nullptr;
  std::int32_t* m_pNum = nullptr;                 // type num
  std::optional<std::string>* m_pText = nullptr;  // type string
};

// Finds the variable `name` (frame first, then globals) and, for an array,
// the element addressed by the index items. 0 on failure (ErrorFlag set).
[[nodiscard]] int LocateStorage(const std::optional<std::string>& name, SyntaxNode* items,
                                ValueType type, StorageSlot& slot);

// Runs an operand and takes the one value it left on the value stack. None
// when the operand failed or did not leave exactly one value of its own, so
// that no evaluator ever consumes a value that belongs to someone else.
VariablePtr EvaluateOperand(SyntaxNode* node);

// New temporaries.
VariablePtr MakeNum(std::int32_t number);
// A string value holding a copy of `text` (size = length + 1), or no text.
VariablePtr MakeString(const std::optional<std::string>& text);

// Marks the run as failed and passes the evaluator's trace line on.
int FailWith(const char* trace);

// A run stopped by a limit (host stack, step budget) unwinds many levels at
// once; after the limit's own report the calls on the way up stay silent, so
// the output does not depend on how deep the run was.
void AbandonRun();
bool RunAbandoned();

// "NUM" or "STRING": the type word of the system's messages.
const char* TypeWord(ValueType type);

}  // namespace setup
