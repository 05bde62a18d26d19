// Expression parser: five precedence levels, literals, constants and array
// element references; every node carries its static type.
#include <cstdint>
#include <optional>
#include <string>

#include "base/global.h"
#include "diag/report.h"
#include "script/front/keywords.h"
#include "script/front/lexer.h"
#include "script/front/parser.h"
#include "script/store/symbols.h"

namespace setup::front {

namespace {

// A level that fails after it began an operator: its own message, then its
// trace line and trailer with the current token's text; the tree is dropped.
struct Level {
  const char* trace;
  const char* trailer;
};
constexpr Level kExpt{"Error in expt()", "'%s()' had some error occur."};
constexpr Level kOpExpt{"Error in op_expt()", "The '%s()' had some error occur. \n"};
constexpr Level kOpExpt2{"Error in op_expt2()", "The '%s()' had some error occur. \n"};
constexpr Level kTermLevel{"Error in term_level()", "The '%s()' had some error occur. \n"};

NodePtr FailLevel(const Level& level, const char* message) {
  Global& g = theGlobal;
  if (message != nullptr) ReportError(message);
  g.ErrorFlag = 1;
  TraceLine(level.trace);
  ReportError(level.trailer, g.m_szToken);
  return nullptr;
}

NodePtr FailFactor() {
  Global& g = theGlobal;
  g.ErrorFlag = 1;
  ReportError("expression '%s' is invalid.\n", g.m_szToken);
  TraceLine("Error in factor_level()");
  return nullptr;
}

NodePtr MakeOperator(std::int32_t op) {
  NodePtr node = NewNode(NodeKind::OpT);
  if (node) node->m_nOp = op;
  return node;
}

// Hangs both operands under `node`: left in slot 2, right in slot 0.
NodePtr Combine(NodePtr node, NodePtr left, NodePtr right, ValueType type) {
  SyntaxNode* parent = node.get();
  node->m_nType = type;
  LinkChild(parent, node->m_pChild2, std::move(left));
  LinkChild(parent, node->m_pChild0, std::move(right));
  return node;
}

bool IsLiteral(const SyntaxNode& node) {
  return node.m_nKind == NodeKind::StringT || node.m_nKind == NodeKind::NumT ||
         node.m_nKind == NodeKind::ConstT;
}

// NAME '[' expt ']' { '[' expt ']' }   (NAME already consumed)
NodePtr ArrayElement(const std::string& name) {
  Global& g = theGlobal;
  const std::string* function = g.m_szExFunName ? &*g.m_szExFunName : nullptr;
  const Variable* array = FindVariable(name, function);
  NodePtr node = NewNode(NodeKind::Id_ArrayT);
  if (!node || array == nullptr || !array->m_pArray) return nullptr;
  node->m_szText = name;
  const int dims = static_cast<int>(array->m_pArray->m_Dims.size());
  int count = 0;
  NodeAppender items(node->m_pItems);
  while (g.m_nToken == TK_LBRACKET) {
    if (count == dims) {
      ReportError("most dimensions of '%s' is %d", name.c_str(), dims);
      return nullptr;
    }
    MatchToken(TK_LBRACKET);
    NodePtr item = NewNode(NodeKind::ItemT);
    if (!item) return nullptr;
    NodePtr index = expt();
    if (!index) {
      ReportError("dimension %d of '%s' can not be NULL", count, name.c_str());
      return nullptr;
    }
    LinkChild(item.get(), item->m_pChild2, std::move(index));
    items.Append(std::move(item));
    ++count;
    if (!MatchToken(TK_RBRACKET)) return nullptr;
  }
  if (count != dims) {
    ReportError("array '%s' has %d dimensions", name.c_str(), dims);
    return nullptr;
  }
  return node;
}

// CONSTANT: a predefined num or string constant.
NodePtr Constant() {
  Global& g = theGlobal;
  NodePtr node = NewNode(NodeKind::ConstT);
  if (!node) return nullptr;
  std::optional<std::string> text;
  std::int32_t number = 0;
  ValueType type = ValueType::None;
  GetConstValue(g.m_szToken, &text, &number, &type);
  if (type == ValueType::Num) {
    node->m_nConstType = ValueType::Num;
    node->m_Cache.m_nValue = number;
  } else if (type == ValueType::String && text) {
    node->m_nConstType = ValueType::String;
    node->m_szText = std::move(text);
  } else {
    return nullptr;  // a directory constant whose value is not known
  }
  node->m_nType = node->m_nConstType;
  MatchToken(TK_CONST);
  return node;
}

}  // namespace

bool ScopeHasVariable(const std::string& name, ValueType type, bool localOnly) {
  const Global& g = theGlobal;
  if (g.m_bInFunction == 1) {
    const FunctionEntry* function = g.m_szExFunName ? FindFunction(*g.m_szExFunName) : nullptr;
    if (function == nullptr) return false;
    if (const Variable* local = function->FindLocal(name)) {
      if (local->m_nType == type) return true;
    }
    if (localOnly) return false;
  }
  const Variable* global = theVariables.Find(name);
  return global != nullptr && global->m_nType == type;
}

void LinkChild(SyntaxNode* parent, NodePtr& slot, NodePtr child) {
  if (child) child->m_bConsumed = parent != nullptr;
  slot = std::move(child);
}

// expt -> op_expt { ('&&' | '||' | '&' | '|') op_expt } [ '=' expt ]
NodePtr expt() {
  Global& g = theGlobal;
  if (!EnterNesting()) return nullptr;
  NodePtr left = op_expt();
  if (!left) return nullptr;
  while (g.m_nToken == TK_ANDAND || g.m_nToken == TK_OROR || g.m_nToken == TK_AND ||
         g.m_nToken == TK_OR) {
    const std::int32_t op = g.m_nToken;
    NodePtr node = MakeOperator(op);
    if (!node) return FailLevel(kExpt, nullptr);
    MatchToken(op);
    NodePtr right = op_expt();
    if (!right) return FailLevel(kExpt, "illegal right_value.");
    if (left->m_nType != right->m_nType) return FailLevel(kExpt, "cannot match type.");
    left = Combine(std::move(node), std::move(left), std::move(right), ValueType::Num);
  }
  if (g.m_nToken != TK_ASSIGN) return left;
  NodePtr node = NewNode(NodeKind::AssignT);
  if (!node) return FailLevel(kExpt, nullptr);
  MatchToken(TK_ASSIGN);
  NodePtr right = expt();
  if (!right) return FailLevel(kExpt, nullptr);
  if (left->m_nType != right->m_nType) return FailLevel(kExpt, "cannot match type.");
  const ValueType type = left->m_nType;
  return Combine(std::move(node), std::move(left), std::move(right), type);
}

// op_expt -> op_expt2 [ ('<' | '>' | '<=' | '>=' | '!=' | '==' | '+=' | '-=' | '*=' | '/=' | '%=')
//                        op_expt ]
NodePtr op_expt() {
  Global& g = theGlobal;
  if (!EnterNesting()) return nullptr;
  NodePtr left = op_expt2();
  if (!left) return nullptr;
  const std::int32_t op = g.m_nToken;
  if (op < TK_LT || op > TK_PERCENT_ASSIGN) return left;
  NodePtr node = MakeOperator(op);
  if (!node) return FailLevel(kOpExpt, nullptr);
  MatchToken(op);
  NodePtr right = op_expt();
  if (!right) return FailLevel(kOpExpt, "illegal right_value.");
  if (op >= TK_PLUS_ASSIGN && IsLiteral(*left)) {
    return FailLevel(kOpExpt, "left operand must be l-value.");
  }
  if (op >= TK_MINUS_ASSIGN && left->m_nType == ValueType::String) {
    return FailLevel(kOpExpt, "cannot match type.");
  }
  if (left->m_nType != right->m_nType) return FailLevel(kOpExpt, "cannot match type.");
  return Combine(std::move(node), std::move(left), std::move(right), ValueType::Num);
}

// op_expt2 -> term_level { ('+' | '-') term_level }
NodePtr op_expt2() {
  Global& g = theGlobal;
  NodePtr left = term_level();
  if (!left) return nullptr;
  while (g.m_nToken == TK_PLUS || g.m_nToken == TK_MINUS) {
    const std::int32_t op = g.m_nToken;
    NodePtr node = MakeOperator(op);
    if (!node) return FailLevel(kOpExpt2, nullptr);
    MatchToken(op);
    NodePtr right = term_level();
    if (!right) return FailLevel(kOpExpt2, "illegal right_value.");
    if (left->m_nType != right->m_nType) return FailLevel(kOpExpt2, "cannot match type.");
    if (op == TK_MINUS && (left->m_nType != ValueType::Num || right->m_nType != ValueType::Num)) {
      return FailLevel(kOpExpt2, "cannot match type.");
    }
    const ValueType type = left->m_nType;
    left = Combine(std::move(node), std::move(left), std::move(right), type);
  }
  return left;
}

// term_level -> factor_level { ('*' | '/' | '%') factor_level }
NodePtr term_level() {
  Global& g = theGlobal;
  NodePtr left = factor_level();
  if (!left) return nullptr;
  while (g.m_nToken == TK_STAR || g.m_nToken == TK_SLASH || g.m_nToken == TK_PERCENT) {
    const std::int32_t op = g.m_nToken;
    NodePtr node = MakeOperator(op);
    if (!node) return FailLevel(kTermLevel, nullptr);
    MatchToken(op);
    NodePtr right = factor_level();
    if (!right) return FailLevel(kTermLevel, "illegal right_value.");
    if (left->m_nType != right->m_nType || left->m_nType != ValueType::Num) {
      return FailLevel(kTermLevel, "cannot match type.");
    }
    left = Combine(std::move(node), std::move(left), std::move(right), ValueType::Num);
  }
  return left;
}

// factor_level -> NAME | NAME '[' ... | call | NUMBER | STRING | CONSTANT | MACRO
//                 | '{' initializer '}' | '(' expt ')'
NodePtr factor_level() {
  Global& g = theGlobal;
  if (!EnterNesting()) return nullptr;
  const std::int32_t token = g.m_nToken;
  if (token == TK_IDENT) {
    const std::string name = g.m_szToken;
    ValueType type = ValueType::None;
    if (ScopeHasVariable(name, ValueType::Num, false)) {
      type = ValueType::Num;
    } else if (ScopeHasVariable(name, ValueType::String, false)) {
      type = ValueType::String;
    } else if (FunctionExists(name)) {
      NodePtr call = callexfun_stmt();
      return call ? std::move(call) : FailFactor();
    } else {
      ReportError("illegal indirection. ");
      return FailFactor();
    }
    MatchToken(TK_IDENT);
    if (g.m_nToken == TK_LBRACKET) {
      NodePtr element = ArrayElement(name);
      if (!element) return FailFactor();
      element->m_nType = type;
      return element;
    }
    NodePtr id = NewNode(NodeKind::IdT);
    if (!id) return FailFactor();
    id->m_szText = name;
    id->m_nType = type;
    return id;
  }
  if (token == TK_NUMBER) {
    NodePtr number = generate_num_val();
    return number ? std::move(number) : FailFactor();
  }
  if (token == TK_STRING) {
    NodePtr text = generate_string_val();
    return text ? std::move(text) : FailFactor();
  }
  if (token == TK_CONST) {
    NodePtr constant = Constant();
    return constant ? std::move(constant) : FailFactor();
  }
  if (token >= TK_BUILTIN_FIRST && token <= TK_BUILTIN_LAST) {
    NodePtr call = callinlinefun_stmt();
    return call ? std::move(call) : FailFactor();
  }
  if (token == TK_MACRO) return macro_call_stmt();
  if (token == TK_LBRACE) return record_array_content();
  if (token == TK_LPAREN) {
    if (!MatchToken(TK_LPAREN)) {
      ReportError("syntax error : '(' ");
      return FailFactor();
    }
    NodePtr inner = expt();
    if (!inner) return FailFactor();
    if (!MatchToken(TK_RPAREN)) {
      ReportError("syntax error : ')' ");
      return FailFactor();
    }
    return inner;
  }
  return FailFactor();
}

// NUMBER
NodePtr generate_num_val() {
  Global& g = theGlobal;
  NodePtr node = NewNode(NodeKind::NumT);
  if (!node) {
    g.ErrorFlag = 1;
    ReportError(" The expression '%s' is invalid.", g.m_szToken);
    TraceLine("Error in generate_num_val()");
    return nullptr;
  }
  node->m_szText = g.m_szToken;
  node->m_nType = ValueType::Num;
  MatchToken(TK_NUMBER);
  return node;
}

// STRING
NodePtr generate_string_val() {
  Global& g = theGlobal;
  NodePtr node = NewNode(NodeKind::StringT);
  if (!node) {
    g.ErrorFlag = 1;
    ReportError(" The expression '%s' is invalid.", g.m_szToken);
    TraceLine("Error in generate_string_val()");
    return nullptr;
  }
  if (g.m_szToken[0] != '\0') node->m_szText = g.m_szToken;
  node->m_nType = ValueType::String;
  MatchToken(TK_STRING);
  return node;
}

}  // namespace setup::front
