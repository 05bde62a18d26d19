// The interpreter's side of tracing and coverage: the script's statements and
// branch points described before the run, and the values of calls and
// built-ins handed to theGlobal.m_pObserver as they happen.
#include "script/interp/observe.h"

#include <string>
#include <vector>

#include "base/observer.h"
#include "builtins/table.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

ScriptObserver& Observer() {
  return *theGlobal.m_pObserver;
}

ObservedValue Observe(ValueType type, std::int32_t number, const std::optional<std::string>& text,
                      bool array) {
  ObservedValue value;
  if (array) {
    value.m_nKind = ObservedValue::Kind::Array;
  } else if (type == ValueType::String) {
    value.m_nKind = ObservedValue::Kind::Text;
    if (text) {
      value.m_pText = text->data();
      value.m_nLength = text->size();
    }
  } else {
    value.m_nNum = number;
  }
  return value;
}

ObservedValue Observe(const Value& value) {
  return Observe(value.m_nType, value.m_nNum, value.m_szValue, false);
}

ObservedValue Observe(const Variable& value) {
  return Observe(value.m_nType, value.m_nNum, value.m_szValue, value.m_pArray != nullptr);
}

// The top `count` values of the value stack, first argument first.
std::vector<ObservedValue> TopValues(std::size_t count) {
  std::vector<ObservedValue> values;
  if (theValueStack.size() < count) return values;
  for (std::size_t i = theValueStack.size() - count; i < theValueStack.size(); ++i) {
    values.push_back(Observe(*theValueStack[i]));
  }
  return values;
}

const char* OperatorText(int op) {
  switch (op) {
    case TK_PLUS_ASSIGN:
      return " +=";
    case TK_MINUS_ASSIGN:
      return " -=";
    case TK_STAR_ASSIGN:
      return " *=";
    case TK_SLASH_ASSIGN:
      return " /=";
    case TK_PERCENT_ASSIGN:
      return " %=";
    default:
      return nullptr;
  }
}

std::string TargetName(const SyntaxNode* target) {
  if (target == nullptr || !target->m_szText) return "";
  std::string name = *target->m_szText;
  if (target->m_nKind == NodeKind::Id_ArrayT) name += "[]";
  return name;
}

// A few words on what a statement does.
std::string Describe(const SyntaxNode& node) {
  const std::string text = node.m_szText ? *node.m_szText : "";
  switch (node.m_nKind) {
    case NodeKind::IfT:
      return "if";
    case NodeKind::WhileT:
      return "while";
    case NodeKind::SwitchT:
      return "switch";
    case NodeKind::BreakT:
      return "break";
    case NodeKind::ContinueT:
      return "continue";
    case NodeKind::ReturnT:
      return "return";
    case NodeKind::CallT:
      return "call " + text;
    case NodeKind::InLineFunT:
      return text + "()";
    case NodeKind::AssignInitializingT:
      return text + " =";
    case NodeKind::AssignT:
      return TargetName(node.m_pChild2.get()) + " =";
    case NodeKind::OpT:
      if (const char* op = OperatorText(node.m_nOp)) return TargetName(node.m_pChild2.get()) + op;
      return "expression";
    default:
      return "expression";
  }
}

// Describes the statements of the chain `first` and of every block below it,
// with a work list instead of recursion (blocks nest as deep as the parser
// allowed).
void DescribeChains(std::vector<SyntaxNode*>& work) {
  ScriptObserver& observer = Observer();
  while (!work.empty()) {
    SyntaxNode* node = work.back();
    work.pop_back();
    for (; node != nullptr; node = node->m_pNext.get()) {
      const std::string what = Describe(*node);
      switch (node->m_nKind) {
        case NodeKind::IfT:
          observer.Construct(node, ObservedKind::If, what.c_str(), 2);
          work.push_back(node->m_pChild0.get());
          work.push_back(node->m_pChild1.get());
          break;
        case NodeKind::WhileT:
          observer.Construct(node, ObservedKind::While, what.c_str(), 2);
          work.push_back(node->m_pChild1.get());
          break;
        case NodeKind::SwitchT: {
          std::int32_t sections = 0;
          bool fallback = false;
          std::vector<SyntaxNode*> bodies;
          for (SyntaxNode* s = node->m_pItems.get(); s != nullptr; s = s->m_pNext.get()) {
            if (s->m_nKind != NodeKind::CaseT && s->m_nKind != NodeKind::DefaultT) continue;
            fallback = fallback || s->m_nKind == NodeKind::DefaultT;
            ++sections;
            bodies.push_back(s->m_pChild2.get());
          }
          // No section: nothing to choose between (SwitchT returns at once).
          const std::int32_t branches = sections == 0 ? 0 : sections + (fallback ? 0 : 1);
          observer.Construct(node, ObservedKind::Switch, what.c_str(), branches);
          for (auto it = bodies.rbegin(); it != bodies.rend(); ++it) work.push_back(*it);
          break;
        }
        default:
          observer.Construct(node, ObservedKind::Statement, what.c_str(), 0);
          break;
      }
    }
  }
}

}  // namespace

void DescribeScript() {
  ScriptObserver& observer = Observer();
  std::vector<SyntaxNode*> work;
  for (auto it = theStatements.rbegin(); it != theStatements.rend(); ++it)
    work.push_back(it->get());
  DescribeChains(work);
  for (const auto& function : theFunctions.Entries()) {
    SyntaxNode* definition = function->m_pDefinition.get();
    if (definition == nullptr) continue;
    observer.FunctionDefined(function->m_szName.c_str(), definition);
    work.push_back(definition->m_pChild2.get());
    DescribeChains(work);
  }
}

void ObserveStatement(SyntaxNode* node) {
  Observer().Statement(node);
}

void ObserveBranch(SyntaxNode* node, std::int32_t branch) {
  Observer().Branch(node, branch);
}

void ObserveSwitch(SyntaxNode* node, const Value& selector) {
  // The first case whose label matches, else the default, else the branch
  // after the sections.
  std::int32_t index = 0;
  std::int32_t fallback = -1;
  for (SyntaxNode* s = node->m_pItems.get(); s != nullptr; s = s->m_pNext.get()) {
    if (s->m_nKind == NodeKind::DefaultT) {
      fallback = index++;
      continue;
    }
    if (s->m_nKind != NodeKind::CaseT) continue;
    bool matches = false;
    if (selector.m_nType == ValueType::Num) {
      matches = selector.m_nNum == s->m_Cache.m_nValue;
    } else if (selector.m_nType == ValueType::String) {
      const auto& a = selector.m_szValue;
      const auto& b = s->m_szText;
      matches = (!a && !b) || (a && b && *a == *b);
    }
    if (matches) {
      Observer().Branch(node, index);
      return;
    }
    ++index;
  }
  Observer().Branch(node, fallback >= 0 ? fallback : index);
}

void ObserveCall(SyntaxNode* node, const FunctionEntry& function) {
  const std::vector<ObservedValue> args = TopValues(function.m_Params.size());
  Observer().Call(node, function.m_szName.c_str(), args.data(),
                  static_cast<std::int32_t>(args.size()));
}

void ObserveDirectCall(SyntaxNode* node, const FunctionEntry& function, const std::int32_t* args) {
  std::vector<ObservedValue> values(function.m_Params.size());
  for (std::size_t i = 0; i < values.size(); ++i) values[i].m_nNum = args[i];
  Observer().Call(node, function.m_szName.c_str(), values.data(),
                  static_cast<std::int32_t>(values.size()));
}

void ObserveDirectCall(SyntaxNode* node, const FunctionEntry& function, Variable* const* cells) {
  std::vector<ObservedValue> values(function.m_Params.size());
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = Observe(*cells[i]);
  Observer().Call(node, function.m_szName.c_str(), values.data(),
                  static_cast<std::int32_t>(values.size()));
}

void ObserveReturn(SyntaxNode* node, const Value* result) {
  const char* name = node->m_szText ? node->m_szText->c_str() : "";
  if (result == nullptr) {
    Observer().Return(node, name, nullptr);
    return;
  }
  const ObservedValue value = Observe(*result);
  Observer().Return(node, name, &value);
}

void ObserveDirectReturn(SyntaxNode* node, std::int32_t result) {
  Value value;
  value.m_nType = ValueType::Num;
  value.m_nSize = 4;
  value.m_nNum = result;
  ObserveReturn(node, &value);
}

void ObserveDirectReturn(SyntaxNode* node, const std::optional<std::string>& text,
                         std::int32_t size) {
  Value value;
  value.m_nType = ValueType::String;
  value.m_nSize = size;
  value.m_szValue = text;
  ObserveReturn(node, &value);
}

void ObserveBuiltin(SyntaxNode* node, const BuiltinEntry& entry, std::int32_t answer,
                    const BuiltinArg* views) {
  static const std::optional<std::string> kNone;
  std::vector<ObservedValue> args;
  for (std::int32_t i = 0; i < entry.nParamCount; ++i) {
    const BuiltinArg& arg = views[i];
    args.push_back(
        Observe(arg.m_nType, arg.m_nNum, arg.m_pText != nullptr ? *arg.m_pText : kNone, false));
  }
  ObservedValue result;
  if (entry.nRetType == ValueType::String) {
    const Variable* text = theStringResult.get();
    result = Observe(ValueType::String, 0, text != nullptr ? text->m_szValue : kNone, false);
  } else {
    result.m_nNum = answer;
  }
  Observer().Builtin(node, entry.szName, args.data(), static_cast<std::int32_t>(args.size()),
                     result, answer == 0);
}

}  // namespace setup
