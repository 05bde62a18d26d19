// Statement evaluators: if, while, switch, break, continue and return.
#include "base/global.h"
#include "diag/report.h"
#include "script/interp/eval.h"
#include "script/interp/observe.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

// Evaluates a condition into `truth`. A string value (the one a string `+=`
// gives) has no truth value and fails the statement.
bool EvaluateCondition(SyntaxNode* condition, const char* statement, bool& truth) {
  Value other;
  std::int32_t number = 0;
  const int kind = EvalInt(condition, number, other);
  if (kind == 0) return false;
  if (kind != 1) {
    ReportError("condition of '%s' must be '%s'.", statement, "NUM");
    return false;
  }
  truth = number != 0;
  return true;
}

// What a switch compares its labels with: the selector's type, number and
// text (none = no text storage).
struct Selector {
  ValueType m_nType = ValueType::None;
  std::int32_t m_nNum = 0;
  const std::optional<std::string>* m_pText = &kNoText;
};

// Section labels compare like the selector: numbers by value, texts byte for
// byte with two missing texts equal.
bool LabelMatches(const Selector& selector, const SyntaxNode& section, bool& matches) {
  if (selector.m_nType == ValueType::Num) {
    matches = selector.m_nNum == section.m_Cache.m_nValue;
    return true;
  }
  if (selector.m_nType == ValueType::String) {
    const auto& a = *selector.m_pText;
    const auto& b = section.m_szText;
    matches = (!a && !b) || (a && b && *a == *b);
    return true;
  }
  return false;
}

}  // namespace

int IfT(SyntaxNode* node) {
  bool truth = false;
  if (!EvaluateCondition(node->m_pChild2.get(), "if", truth)) return FailWith("Error in IfT()");
  if (theGlobal.m_pObserver != nullptr) ObserveBranch(node, truth ? 0 : 1);
  SyntaxNode* branch = truth ? node->m_pChild1.get() : node->m_pChild0.get();
  if (!Generate(branch)) return FailWith("Error in IfT()");
  return 1;
}

// No iteration limit: a loop ends by its condition, break or return. The
// loop machine runs the loop when it can, the tree walk otherwise.
int WhileT(SyntaxNode* node) {
  const int compiled = RunLoopCode(node);
  if (compiled >= 0) return compiled;
  return WhileWalk(node);
}

int WhileWalk(SyntaxNode* node) {
  for (;;) {
    bool truth = false;
    if (!EvaluateCondition(node->m_pChild2.get(), "while", truth) || !TakePass()) {
      return FailWith("Error in WhileT()");
    }
    if (theGlobal.m_pObserver != nullptr) ObserveBranch(node, truth ? 0 : 1);
    if (!truth) return 1;
    if (!Generate(node->m_pChild1.get())) return FailWith("Error in WhileT()");
    if (theGlobal.m_bBreak) {
      theGlobal.m_bBreak = 0;
      return 1;
    }
    if (theGlobal.m_bContinue) {
      theGlobal.m_bContinue = 0;
    } else if (theGlobal.m_bReturn) {
      return 1;
    }
  }
}

namespace {

// Runs the sections from `section` on. Sections fall through until a break or
// return; the default runs when no case matched, or when a running section
// falls into it. `running`: a case matched before `section`.
int RunSections(SyntaxNode* section, const Selector* selector, bool running) {
  SyntaxNode* fallback = nullptr;
  for (; section != nullptr; section = section->m_pNext.get()) {
    if (section->m_nKind == NodeKind::DefaultT) {
      fallback = section;
      if (running) {
        running = false;
        break;
      }
      continue;
    }
    if (section->m_nKind != NodeKind::CaseT) continue;
    if (!running) {
      bool matches = false;
      if (selector == nullptr || !LabelMatches(*selector, *section, matches)) {
        return FailWith("Error in SwitchT()");
      }
      if (!matches) continue;
      running = true;
    }
    if (!Generate(section->m_pChild2.get())) return FailWith("Error in SwitchT()");
    if (theGlobal.m_bBreak || theGlobal.m_bReturn) {
      theGlobal.m_bBreak = 0;
      return 1;
    }
  }
  if (!running && fallback != nullptr) {
    if (!Generate(fallback->m_pChild2.get())) return FailWith("Error in SwitchT()");
  }
  theGlobal.m_bBreak = 0;
  return 1;
}

}  // namespace

int SwitchT(SyntaxNode* node) {
  SyntaxNode* sections = node->m_pItems.get();
  if (sections == nullptr) return 1;
  // Every label is compared before any section runs, so a string name's
  // text is compared where it lies.
  SyntaxNode* expression = node->m_pChild2.get();
  Selector view;
  const std::optional<std::string>* text = nullptr;
  if (!TextInPlace(expression, text)) return FailWith("Error in SwitchT()");
  Value selector;
  if (text != nullptr) {
    view.m_nType = ValueType::String;
    view.m_pText = text;
    if (theGlobal.m_pObserver != nullptr) {
      Value copy;
      copy.m_nType = ValueType::String;
      if (*text) copy.m_szValue = *text;
      ObserveSwitch(node, copy);
    }
  } else {
    if (!Eval(expression, selector)) return FailWith("Error in SwitchT()");
    if (theGlobal.m_pObserver != nullptr) ObserveSwitch(node, selector);
    view.m_nType = selector.m_nType;
    view.m_nNum = selector.m_nNum;
    view.m_pText = &selector.m_szValue;
  }
  return RunSections(sections, &view, false);
}

int SwitchTail(SyntaxNode* section) {
  if (section->m_nKind == NodeKind::DefaultT) {
    // The default runs last whichever way it was reached.
    theGlobal.m_bBreak = 0;
    return 1;
  }
  return RunSections(section->m_pNext.get(), nullptr, true);
}

// break and continue leave a num 1 behind; it stays in the frame until the
// call ends.
int BreakT(SyntaxNode*) {
  PushValue(LeftoverValue());
  return 1;
}

int ContinueT(SyntaxNode*) {
  PushValue(LeftoverValue());
  return 1;
}

// Leaves the result in the return slot for the call, checked against the
// running function's declared type.
int ReturnT(SyntaxNode* node) {
  // The frame's entry is the one FindFunction gives for the frame's name.
  CallFrame* frame = TopFrame();
  FunctionEntry* function = frame == nullptr                ? nullptr
                            : frame->m_pFunction != nullptr ? frame->m_pFunction
                                                            : FindFunction(frame->m_szFunName);
  if (function == nullptr) return FailWith("Error in ReturnT()");
  // Every return carries a result, so that CallT always finds one.
  SyntaxNode* expression = node->m_pChild2.get();
  Value value;
  if (expression == nullptr) {
    const bool num = function->m_nRetType == ValueType::Num;
    value.m_nType = num ? ValueType::Num : ValueType::String;
    value.m_nSize = num ? 4 : 0;
  } else {
    if (!Eval(expression, value)) return FailWith("Error in ReturnT()");
    if (value.m_nType != function->m_nRetType) {
      ReportError("The current return type can not match the '%s'.", function->m_szName.c_str());
      ReportError("   see the declare of '%s'.", function->m_szName.c_str());
      return FailWith("Error in ReturnT()");
    }
  }
  theReturnSlot.m_Value = std::move(value);
  theReturnSlot.m_bHeld = true;
  return 1;
}

}  // namespace setup
