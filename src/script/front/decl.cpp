// Declarations: variables, arrays and their initializers, function headers
// and bodies, and the constants that dimensions and initializers take.
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/global.h"
#include "diag/report.h"
#include "script/front/lexer.h"
#include "script/front/parser.h"
#include "script/store/symbols.h"

namespace setup::front {

namespace {

constexpr std::size_t kMaxDimensions = 99;
// Largest element count of one array; keeps initializers and the globals'
// storage within reasonable memory.
constexpr std::int64_t kMaxArrayElements = std::int64_t{1} << 22;

const std::string* CurrentFunctionName() {
  const Global& g = theGlobal;
  return g.m_szExFunName ? &*g.m_szExFunName : nullptr;
}

VariablePtr NewVariable(ValueType type, const std::string& name) {
  VariablePtr variable = type == ValueType::Num ? NewNumValue() : NewStringValue(0);
  if (variable) variable->m_szName = name;
  return variable;
}

// Remembers the variable whose declaration ended at '='.
void SetPendingInit(const std::string& name, bool array, ValueType type) {
  Global& g = theGlobal;
  if (g.m_szInitName) {
    const char* pending = g.m_szInitName->c_str();
    if (!array && type == ValueType::Num) {
      ReportWarning("\n\n\nmemory leak in alloc to '%s'\n\n\n", pending);
    } else if (!array) {
      ReportWarning("memory leak in alloc to '%s'. ", pending);
    } else if (type == ValueType::Num) {
      ReportWarning("memory leak in alloc to '%s'.", pending);
    } else {
      ReportError("Warning:memory leak in alloc to '%s'.", pending);
    }
  }
  g.m_szInitName = name;
}

// The value of a constant expression that a macro expanded to. Only literals,
// predefined constants and operators over them count: a dimension must not run
// script code while the script is being compiled.
bool IsConstantTree(const SyntaxNode* node) {
  std::vector<const SyntaxNode*> pending{node};
  while (!pending.empty()) {
    const SyntaxNode* n = pending.back();
    pending.pop_back();
    switch (n->m_nKind) {
      case NodeKind::NumT:
      case NodeKind::StringT:
      case NodeKind::ConstT:
        break;
      case NodeKind::OpT:
        if (n->m_nOp >= TK_PLUS_ASSIGN && n->m_nOp <= TK_PERCENT_ASSIGN) return false;
        if (!n->m_pChild0 || !n->m_pChild2) return false;
        pending.push_back(n->m_pChild0.get());
        pending.push_back(n->m_pChild2.get());
        break;
      default:
        return false;
    }
  }
  return true;
}

VariablePtr EvaluateMacroConstant(NodePtr& node) {
  if (!node || node->m_pNext || !IsConstantTree(node.get())) return nullptr;
  // Evaluated as an operand, so that it leaves its value on the stack.
  node->m_bConsumed = true;
  const std::size_t depth = theValueStack.size();
  VariablePtr value;
  if (Generate(node.get()) && theValueStack.size() == depth + 1) value = PopValue();
  while (theValueStack.size() > depth) PopValue();
  node->m_bConsumed = false;
  return value;
}

// Storage position of the element written at `position` in an initializer:
// rows of d1 elements, blocks of d0 * d1 for the third and later indexes,
// while the storage keeps the first index fastest.
std::int64_t StorageOffset(std::int64_t position, const std::vector<std::int32_t>& dims) {
  if (dims.size() < 2) return position;
  const std::int64_t d0 = dims[0], d1 = dims[1], block = d0 * d1;
  const std::int64_t rest = position % block;
  return rest / d1 + (rest % d1) * d0 + (position / block) * block;
}

// Function header: parameter list, then '{' (definition) or ';' (prototype).
[[nodiscard]] bool FunctionHeader(const std::string& name, ValueType type);

}  // namespace

// const_num_val -> NUMBER | MACRO
std::int32_t const_num_val() {
  Global& g = theGlobal;
  if (g.m_nToken == TK_NUMBER) {
    const std::int32_t value = TextToNum(g.m_szToken);
    GetToken();
    return value;
  }
  if (g.m_nToken == TK_MACRO) {
    NodePtr node = macro_call_stmt();
    VariablePtr value = EvaluateMacroConstant(node);
    if (value && value->m_nType == ValueType::Num) return value->m_nNum;
    g.ErrorFlag = 1;
    return -1;
  }
  ReportError("dimension of array must be const.");
  g.ErrorFlag = 1;
  return -1;
}

// const_string_val -> STRING | MACRO
int const_string_val(std::optional<std::string>* out) {
  Global& g = theGlobal;
  if (g.m_nToken == TK_STRING) {
    if (g.m_szToken[0] != '\0') {
      *out = g.m_szToken;
    } else {
      out->reset();
    }
    GetToken();
    return 1;
  }
  if (g.m_nToken == TK_MACRO) {
    NodePtr node = macro_call_stmt();
    VariablePtr value = EvaluateMacroConstant(node);
    if (value && value->m_nType == ValueType::String) {
      *out = value->m_szValue;
      return 1;
    }
    g.ErrorFlag = 1;
    return 0;
  }
  ReportError("dimension of array must be const.");
  g.ErrorFlag = 1;
  return 0;
}

namespace {

// NAME ['[' CONST ']' ...] after the type keyword
bool DeclareVariable(const std::string& name, ValueType type) {
  Global& g = theGlobal;
  const bool isNum = type == ValueType::Num;
  if (g.m_nToken != TK_LBRACKET) {
    VariablePtr variable = NewVariable(type, name);
    if (!variable) return false;
    if (g.m_nToken == TK_ASSIGN) SetPendingInit(name, false, type);
    AddVariable(std::move(variable));
    NotifyCompile(CompileEvent::Variable, name.c_str());
    return true;
  }

  std::vector<std::int32_t> dims;
  std::int64_t count = 1;
  while (g.m_nToken == TK_LBRACKET) {
    MatchToken(TK_LBRACKET);
    if (dims.size() >= kMaxDimensions) {
      ReportError("array '%s' can not have more than %d dimensions.", name.c_str(),
                  static_cast<int>(kMaxDimensions));
      return false;
    }
    const std::int32_t size = const_num_val();
    if (size < 1) {
      if (isNum) {
        ReportError("dimension of array can not be zero or less than.");
      } else {
        ReportError("dimension %d of array can not be zero or less than.",
                    static_cast<int>(dims.size()));
      }
      return false;
    }
    if (!MatchToken(TK_RBRACKET)) return false;
    count *= size;
    if (count > kMaxArrayElements) {
      ReportError("array '%s' is too large.", name.c_str());
      return false;
    }
    dims.push_back(size);
  }
  VariablePtr variable = NewVariable(type, name);
  if (!variable) return false;
  variable->m_pArray = std::make_unique<ArrayStore>();
  variable->m_pArray->m_Dims = std::move(dims);
  if (g.m_nToken == TK_ASSIGN) SetPendingInit(name, true, type);
  AddVariable(std::move(variable));
  NotifyCompile(CompileEvent::Variable, name.c_str());
  return true;
}

// generate_num_key / generate_string_key -> TYPE NAME ( '[' ... | '(' ... | )
void GenerateKey(ValueType type) {
  Global& g = theGlobal;
  const bool isNum = type == ValueType::Num;
  MatchToken(isNum ? TK_KW_NUM : TK_KW_STRING);
  const std::string name = g.m_szToken;
  if (g.m_nToken == TK_IDENT) NotifyCompile(CompileEvent::Declaration, name.c_str());
  bool ok = false;
  if (VariableExists(name, 1)) {
    ReportError("The '%s' had redefined. ", name.c_str());
  } else if (FunctionExists(name) && IsFunctionDefined(name) == 1) {
    ReportError(isNum ? "The function '%s' had redefined." : "The function '%s' had redefined. ",
                name.c_str());
  } else if (!MatchToken(TK_IDENT)) {
    ReportError(isNum ? "There are something error about the 'num' type value."
                      : "There are something error about the 'string' type value. ");
  } else if (g.m_nToken == TK_LPAREN) {
    ok = FunctionHeader(name, type);
  } else {
    ok = DeclareVariable(name, type);
  }
  if (!ok) {
    g.ErrorFlag = 1;
    if (isNum) TraceLine("Error in generate_num_key()");
    return;
  }
  if (isNum) {
    g.m_bNumDecl = 1;
  } else {
    g.m_bStringDecl = 1;
  }
}

// function_describe -> '(' [TYPE NAME {',' TYPE NAME}] ')'
std::unique_ptr<FunctionEntry> function_describe(const std::string& name, ValueType type) {
  Global& g = theGlobal;
  auto entry = std::make_unique<FunctionEntry>();
  entry->m_szName = name;
  entry->m_nRetType = type;
  if (!MatchToken(TK_LPAREN)) {
    ReportError("The function descibe miss '('.");
    return nullptr;
  }
  while (g.m_nToken != TK_RPAREN) {
    if (g.m_nToken != TK_KW_NUM && g.m_nToken != TK_KW_STRING) {
      ReportError("Unsupport parameter type:%s.", g.m_szToken);
      return nullptr;
    }
    ParamEntry param;
    param.m_nType = g.m_nToken == TK_KW_NUM ? ValueType::Num : ValueType::String;
    GetToken();
    if (g.m_nToken != TK_IDENT) return nullptr;
    param.m_szName = g.m_szToken;
    NotifyCompile(CompileEvent::Parameter, g.m_szToken);
    if (IsParaExist(entry->m_Params, param.m_szName)) {
      ReportError(type == ValueType::Num ? "The parameter '%s' had redefine."
                                         : "the parameter '%s' had redefine.",
                  param.m_szName.c_str());
      return nullptr;
    }
    GetToken();
    entry->m_Params.push_back(param);
    if (g.m_nToken == TK_RPAREN) break;
    if (!MatchToken(TK_COMMA)) {
      ReportError("The function descibe miss ',' after the '%s'.", param.m_szName.c_str());
      return nullptr;
    }
  }
  if (!MatchToken(TK_RPAREN)) {
    ReportError("The function descibe miss ')'.");
    return nullptr;
  }
  return entry;
}

void ReportRedefined(const std::string& name, ValueType type) {
  ReportError(type == ValueType::Num ? "The function '%s' had redefined."
                                     : "The function '%s' had redefined. ",
              name.c_str());
}

// A definition header: a new function, or the definition of a prototype.
bool function_define(std::unique_ptr<FunctionEntry> entry) {
  Global& g = theGlobal;
  const std::string name = entry->m_szName;
  const ValueType type = entry->m_nRetType;
  switch (IsFunctionDefined(name)) {
    case -1:
      entry->m_bDefined = true;
      theFunctions.Append(std::move(entry), name);
      g.m_szExFunName = name;
      NotifyCompile(CompileEvent::Definition, name.c_str());
      return true;
    case 0: {
      FunctionEntry* prototype = FindFunction(name);
      if (prototype != nullptr && SameSignature(*prototype, *entry)) {
        prototype->m_bDefined = true;
        g.m_szExFunName = name;
        NotifyCompile(CompileEvent::Definition, name.c_str());
        return true;
      }
      ReportError(type == ValueType::Num
                      ? "The define can not match the declare .'%s' has something error."
                      : "The define can not match the declare. '%s' has something error.",
                  name.c_str());
      ReportError("see the declaring of '%s'.", name.c_str());
      return false;
    }
    default:
      ReportRedefined(name, type);
      return false;
  }
}

// A prototype: only a name not seen before.
bool function_declare(std::unique_ptr<FunctionEntry> entry) {
  const std::string name = entry->m_szName;
  const ValueType type = entry->m_nRetType;
  switch (IsFunctionDefined(name)) {
    case -1:
      entry->m_bDefined = false;
      theFunctions.Append(std::move(entry), name);
      NotifyCompile(CompileEvent::Prototype, name.c_str());
      MatchToken(TK_SEMICOLON);
      return true;
    case 0:
      ReportError("The function '%s' had declared.", name.c_str());
      return false;
    default:
      ReportRedefined(name, type);
      return false;
  }
}

bool FunctionHeader(const std::string& name, ValueType type) {
  Global& g = theGlobal;
  if (g.m_bInFunction) {
    ReportError("function '%s' can not be declared inside function '%s'.", name.c_str(),
                g.m_szExFunName ? g.m_szExFunName->c_str() : "");
    return false;
  }
  std::unique_ptr<FunctionEntry> entry = function_describe(name, type);
  if (!entry) return false;
  if (g.m_nToken == TK_LBRACE) return function_define(std::move(entry));
  if (g.m_nToken == TK_SEMICOLON) return function_declare(std::move(entry));
  ReportError(
      type == ValueType::Num ? "miss ';' after '%s' declare." : "miss ';' after %s declare.",
      name.c_str());
  return false;
}

NodePtr FailArrayContent() {
  theGlobal.ErrorFlag = 1;
  TraceLine("Error in record_array_content()");
  return nullptr;
}

}  // namespace

void generate_num_key() {
  GenerateKey(ValueType::Num);
}
void generate_string_key() {
  GenerateKey(ValueType::String);
}

// exterfun_stmt -> '{' statement_sequence '}'   (the body of the header just read)
int exterfun_stmt() {
  Global& g = theGlobal;
  if (g.m_bInFunction) {
    ReportError("illegal '{' inside function '%s'.",
                g.m_szExFunName ? g.m_szExFunName->c_str() : "");
    g.ErrorFlag = 1;
    return 0;
  }
  NodePtr node = NewNode(NodeKind::ExternalFunT);
  if (!node) {
    g.ErrorFlag = 1;
    return 0;
  }
  if (!g.m_szExFunName) {
    g.ErrorFlag = 1;
    TraceLine("Error in exterfun_stmt():theGlobal.m_szExFunName=NULL");
    ReportError("error in exterfun_stmt()");
    return 0;
  }
  const std::string name = *g.m_szExFunName;
  FunctionEntry* function = FindFunction(name);
  if (function == nullptr) {
    g.ErrorFlag = 1;
    g.m_szExFunName.reset();
    ReportError("error in exterfun_stmt()");
    return 0;
  }
  g.m_bInFunction = 1;
  node->m_nType = function->m_nRetType;
  // The parameters are the function's first locals, in order.
  for (const ParamEntry& param : function->m_Params) {
    VariablePtr local = NewVariable(param.m_nType, param.m_szName);
    if (local) AddVariable(std::move(local));
  }
  if (!MatchToken(TK_LBRACE)) ReportError("miss '{'");
  node->m_pChild2 = statement_sequence();
  if (g.m_nToken == TK_RBRACE) NotifyCompile(CompileEvent::BodyEnd, name.c_str());
  g.m_bInFunction = 0;
  g.m_szExFunName.reset();
  // The closing brace is checked whether or not the body failed; a failed
  // body has reported already and ends the compilation through ErrorFlag.
  if (!MatchToken(TK_RBRACE)) {
    ReportError("miss '}'");
    ReportError("error in exterfun_stmt()");
    g.ErrorFlag = 1;
    return 0;
  }
  if (g.ErrorFlag) return 0;
  function->m_pDefinition = std::move(node);
  return 1;
}

// init_assign_stmt -> '=' expt   (the initializer of the declaration just read)
NodePtr init_assign_stmt() {
  Global& g = theGlobal;
  ValueType type = ValueType::None;
  if (g.m_szInitName) {
    if (ScopeHasVariable(*g.m_szInitName, ValueType::String, true)) {
      type = ValueType::String;
    } else if (ScopeHasVariable(*g.m_szInitName, ValueType::Num, true)) {
      type = ValueType::Num;
    }
  }
  // The node names the declared variable itself: a large script declares
  // hundreds of thousands, and a name node each would cost as much again.
  NodePtr node = NewNode(NodeKind::AssignInitializingT);
  if (type == ValueType::None || !node) {
    ReportError("illegal assign. check the assign object.  ");
    g.ErrorFlag = 1;
    g.m_szInitName.reset();
    return nullptr;
  }
  const std::string name = *g.m_szInitName;
  node->m_nType = type;
  node->m_szText = name;
  MatchToken(TK_ASSIGN);
  NodePtr value = expt();
  g.m_szInitName.reset();
  if (!value) {
    ReportError("illegal assign to '%s'.", name.c_str());
    ReportError("illegal assign. check the assign object.  ");
    g.ErrorFlag = 1;
    return nullptr;
  }
  LinkChild(node.get(), node->m_pChild0, std::move(value));
  // "num i = 0, j = 1": the next name is declared with the same type.
  if (g.m_nToken == TK_COMMA) {
    const bool isNum = type == ValueType::Num;
    g.m_nToken = isNum ? TK_KW_NUM : TK_KW_STRING;
    std::strcpy(g.m_szToken, isNum ? "num" : "string");
  }
  if (g.m_bInFunction) return node;
  AddStatement(std::move(node));
  g.m_bGlobalInit = 1;
  return nullptr;
}

// record_array_content -> '{' [CONST {',' CONST} [',']] '}'
NodePtr record_array_content() {
  Global& g = theGlobal;
  const std::string name = g.m_szInitName.value_or("");
  Variable* array = g.m_szInitName ? FindVariable(name, CurrentFunctionName()) : nullptr;
  NodePtr node = NewNode(NodeKind::ArrayContentT);
  if (!node) return FailArrayContent();
  if (array == nullptr) {
    ReportError("array '%s' not defined.", name.c_str());
    return FailArrayContent();
  }
  const ValueType type = array->m_nType;
  node->m_nElemType = type;
  node->m_nType = type;
  if (!MatchToken(TK_LBRACE)) {
    ReportError("miss '{' in assign to array '%s'.", name.c_str());
    return FailArrayContent();
  }
  if (!array->m_pArray || array->m_pArray->m_Dims.empty()) return FailArrayContent();
  const std::vector<std::int32_t> dims = array->m_pArray->m_Dims;
  std::int64_t total = 1;
  for (std::int32_t d : dims) total *= d;
  if (total < 1 || total > kMaxArrayElements) return FailArrayContent();

  auto store = std::make_unique<ArrayStore>();
  store->m_Dims = dims;
  if (type == ValueType::Num) {
    store->m_Nums.assign(static_cast<std::size_t>(total), 0);
  } else {
    store->m_Strings.assign(static_cast<std::size_t>(total), std::nullopt);
  }
  std::vector<bool> given(static_cast<std::size_t>(total), false);
  std::int64_t count = 0;
  if (g.m_nToken != TK_RBRACE) {
    for (;;) {
      if (count >= total) {
        ReportError("illegal access to array '%s' via out of the boundary.", name.c_str());
        return FailArrayContent();
      }
      const auto offset = static_cast<std::size_t>(StorageOffset(count, dims));
      if (type == ValueType::Num) {
        const std::int32_t value = const_num_val();
        if (value == -1) return FailArrayContent();
        store->m_Nums[offset] = value;
      } else {
        std::optional<std::string> text;
        if (!const_string_val(&text)) return FailArrayContent();
        store->m_Strings[offset] = std::move(text);
      }
      given[offset] = true;
      ++count;
      if (g.m_nToken == TK_RBRACE) break;
      if (!MatchToken(TK_COMMA)) {
        ReportError("miss ',' in assign to array '%s'.", name.c_str());
        return FailArrayContent();
      }
      if (g.m_nToken == TK_RBRACE) break;
    }
  }
  // Elements a string table of two or more dimensions leaves out hold a blank.
  if (type == ValueType::String && dims.size() >= 2) {
    for (std::size_t i = 0; i < given.size(); ++i) {
      if (!given[i]) store->m_Strings[i] = std::string(" ");
    }
  }
  node->SetArray(std::move(store));
  if (!MatchToken(TK_RBRACE)) {
    ReportError("miss '}' in assign to array '%s'.", name.c_str());
    return FailArrayContent();
  }
  return node;
}

}  // namespace setup::front
