// Generate, the dispatcher through which every node runs, and the helpers
// that the evaluators share.
#include <cassert>
#include <utility>

#include "base/global.h"
#include "diag/report.h"
#include "script/interp/eval.h"
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

}  // namespace

int Generate(SyntaxNode* node) {
  for (SyntaxNode* current = node; current != nullptr; current = current->m_pNext.get()) {
    if (!StackHasRoom()) {
      // Deep recursion or a very deep expression: named after the function
      // running when the host stack ran short.
      const CallFrame* frame = TopFrame();
      if (!theGlobal.m_bRunAbandoned) {
        ReportError("call stack overflow in '%s'.",
                    frame != nullptr ? frame->m_szFunName.c_str() : "(global)");
      }
      AbandonRun();
      return FailWith("Error in Generate()");
    }
    if (!TakeStep() || Dispatch(current) <= 0) return FailWith("Error in Generate()");

    switch (current->m_nKind) {
      case NodeKind::BreakT:
        theGlobal.m_bBreak = 1;
        return 1;
      case NodeKind::ReturnT:
        theGlobal.m_bReturn = 1;
        break;
      case NodeKind::ContinueT:
        theGlobal.m_bContinue = 1;
        break;
      default:
        break;
    }
    if (theGlobal.m_bBreak || theGlobal.m_bContinue || theGlobal.m_bReturn) return 1;
  }
  return 1;
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
