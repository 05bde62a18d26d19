// Generate, the dispatcher through which every node runs, and the helpers
// that the evaluators share.
#include <cassert>
#include <utility>

#include "base/global.h"
#include "diag/report.h"
#include "script/interp/eval.h"
#include "script/interp/observe.h"
#include "script/interp/run.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

// Runs the evaluator of one node; -1 for a kind without an evaluator.
int Dispatch(SyntaxNode* node) {
  switch (node->m_nKind) {
    case NodeKind::IfT:
      return IfT(node);
    case NodeKind::WhileT:
      return WhileT(node);
    case NodeKind::AssignT:
      return AssignT(node);
    case NodeKind::AssignInitializingT:
      return AssignInitializingT(node);
    case NodeKind::SwitchT:
      return SwitchT(node);
    case NodeKind::OpT:
      return OpT(node);
    case NodeKind::IdT:
      return IdT(node);
    case NodeKind::Id_ArrayT:
      return Id_ArrayT(node);
    case NodeKind::NumT:
      return NumT(node);
    case NodeKind::CallT:
      return CallT(node);
    case NodeKind::ConstT:
      return ConstT(node);
    case NodeKind::BreakT:
      return BreakT(node);
    case NodeKind::ReturnT:
      return ReturnT(node);
    case NodeKind::ContinueT:
      return ContinueT(node);
    case NodeKind::StringT:
      return StringT(node);
    case NodeKind::InLineFunT:
      return InLineFunT(node);
    case NodeKind::ExternalFunT:
      return ExternalFunT(node);
    case NodeKind::ArrayContentT:
      return ArrayContentT(node);
    default:
      return -1;  // ItemT, CaseT, DefaultT, MsCallT and unknown codes
  }
}

// The test hook that bounds a run: answers false once the steps are used up.
bool TakeStep() {
  if (theGlobal.m_nStepLimit == 0) return true;
  if (theGlobal.m_nSteps >= theGlobal.m_nStepLimit) {
    // Report once; the failure then unwinds the whole run.
    if (!theGlobal.m_bRunAbandoned) {
      ReportError("step limit of %u evaluation steps reached.", theGlobal.m_nStepLimit);
      AbandonRun();
    }
    return false;
  }
  ++theGlobal.m_nSteps;
  return true;
}

// One statement of a chain: the checks, its evaluator, and the flag that a
// break, return or continue raises.
SETUP_ALWAYS_INLINE int RunStatement(SyntaxNode* node) {
  if (!MayRun()) return FailWith("Error in Generate()");
  if (theGlobal.m_pObserver != nullptr) [[unlikely]]
    ObserveStatement(node);
  if (Dispatch(node) <= 0) return FailWith("Error in Generate()");
  switch (node->m_nKind) {
    case NodeKind::BreakT:
      theGlobal.m_bBreak = 1;
      break;
    case NodeKind::ReturnT:
      theGlobal.m_bReturn = 1;
      break;
    case NodeKind::ContinueT:
      theGlobal.m_bContinue = 1;
      break;
    default:
      break;
  }
  return 1;
}

}  // namespace

// The checks of MayRun when the fast test does not pass: the host stack ran
// short, or a step budget is set.
bool MayRunSlow() {
  if (!StackHasRoom()) {
    // Deep recursion or a very deep expression: named after the function
    // running when the host stack ran short.
    const CallFrame* frame = TopFrame();
    if (!theGlobal.m_bRunAbandoned) {
      ReportError("call stack overflow in '%s'.",
                  frame != nullptr ? frame->m_szFunName.c_str() : "(global)");
    }
    AbandonRun();
    return false;
  }
  return TakeStep();
}

int Generate(SyntaxNode* node) {
  for (SyntaxNode* current = node; current != nullptr; current = current->m_pNext.get()) {
    if (!RunStatement(current)) return 0;
    if (theGlobal.m_bBreak || theGlobal.m_bContinue || theGlobal.m_bReturn) return 1;
  }
  return 1;
}

int GenerateOne(SyntaxNode* node) {
  return RunStatement(node);
}

// A definition node is never run by a call; running it directly is a relic.
int ExternalFunT(SyntaxNode*) {
  ShowMessageBox("The ExternalFunT routine is obsolete.", "Error!", plat::MB_ICONINFORMATION);
  return 1;
}

// ---- Shared helpers ------------------------------------------------------------------

void AbandonRun() {
  theGlobal.m_bRunAbandoned = 1;
}
bool RunAbandoned() {
  return theGlobal.m_bRunAbandoned != 0;
}
void ResetRunLimits() {
  theGlobal.m_bRunAbandoned = 0;
  ResetArrayBudget();
  theGlobal.m_nSteps = 0;
  theGlobal.m_nPasses = 0;
}

bool CountPass() {
  if (theGlobal.m_nPasses >= theGlobal.m_nPassLimit) {
    if (!theGlobal.m_bRunAbandoned) {
      ReportError("pass limit of %u loop passes and calls reached.", theGlobal.m_nPassLimit);
      AbandonRun();
    }
    return false;
  }
  ++theGlobal.m_nPasses;
  return true;
}

int EvalGeneral(SyntaxNode* node, Value& value) {
  VariablePtr taken = EvaluateOperand(node);
  if (!taken) return 0;
  TakeValue(value, *taken);
  return 1;
}

int EvalNode(SyntaxNode* node, Value& value) {
  int ok;
  switch (node->m_nKind) {
    case NodeKind::OpT:
      ok = MayRun() && OpValue(node, value);
      break;
    case NodeKind::IdT:
      ok = MayRun() && IdValue(node, value);
      break;
    case NodeKind::NumT:
      ok = MayRun() && NumValue(node, value);
      break;
    case NodeKind::Id_ArrayT:
      ok = MayRun() && Id_ArrayValue(node, value);
      break;
    case NodeKind::StringT:
      ok = MayRun() && StringValue(node, value);
      break;
    case NodeKind::ConstT:
      ok = MayRun() && ConstValue(node, value);
      break;
    case NodeKind::AssignT:
      ok = MayRun() && AssignValue(node, value);
      break;
    case NodeKind::CallT:
      ok = MayRun() && CallValue(node, value);
      break;
    case NodeKind::InLineFunT:
      ok = MayRun() && InLineFunValue(node, value);
      break;
    default:
      return EvalGeneral(node, value);
  }
  return ok ? 1 : EvalFailed();
}

int EvalFailed() {
  return FailWith("Error in Generate()");
}

int Eval(SyntaxNode* node, Variable& value) {
  if (node != nullptr && node->m_nKind != NodeKind::ArrayContentT) {
    Value scalar;
    if (!Eval(node, scalar)) return 0;
    TakeValue(value, scalar);
    return 1;
  }
  VariablePtr taken = EvaluateOperand(node);
  if (!taken) return 0;
  TakeValue(value, *taken);
  return 1;
}

void TakeValue(Variable& to, Variable& from) {
  to.m_nType = from.m_nType;
  to.m_szName = from.m_szName;
  from.m_szName.reset();
  to.m_szValue = std::move(from.m_szValue);
  to.m_nNum = from.m_nNum;
  to.m_nSize = from.m_nSize;
  to.m_pArray = std::move(from.m_pArray);
  to.m_nSavedFrameBase = from.m_nSavedFrameBase;
  from.Clear();
}

void TakeValue(Value& to, Variable& from) {
  to.m_nType = from.m_nType;
  to.m_nNum = from.m_nNum;
  to.m_nSize = from.m_nSize;
  if (from.m_szValue) to.m_szValue = std::move(from.m_szValue);
}

void TakeValue(Variable& to, Value& from) {
  to.m_nType = from.m_nType;
  to.m_nNum = from.m_nNum;
  to.m_nSize = from.m_nSize;
  if (from.m_szValue) to.m_szValue = std::move(from.m_szValue);
}

void PushTaken(Value& value) {
  VariablePtr record = AllocVariable();
  TakeValue(*record, value);
  PushValue(std::move(record));
}

VariablePtr EvaluateOperand(SyntaxNode* node) {
  if (node == nullptr) return nullptr;
  const std::size_t before = theValueStack.size();
  if (!Generate(node)) return nullptr;
  // The parser gives every operand a parent, so it leaves exactly one value.
  assert(theValueStack.size() == before + 1);
  if (theValueStack.size() != before + 1) {
    theGlobal.ErrorFlag = 1;
    return nullptr;
  }
  return PopValue();
}

VariablePtr MakeNum(std::int32_t number) {
  VariablePtr value = NewNumValue();
  value->m_nNum = number;
  return value;
}

VariablePtr MakeString(const std::optional<std::string>& text) {
  VariablePtr value = NewStringValue(0);
  if (text) {
    value->m_szValue = *text;
    value->m_nSize = static_cast<std::int32_t>(text->size() + 1);
  }
  return value;
}

int FailWith(const char* trace) {
  theGlobal.ErrorFlag = 1;
  TraceLine(trace);
  return 0;
}

const char* TypeWord(ValueType type) {
  return type == ValueType::Num ? "NUM" : type == ValueType::String ? "STRING" : "";
}

}  // namespace setup
