// Statements: the statement list, the dispatcher, control flow and calls.
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "base/global.h"
#include "builtins/table.h"
#include "diag/report.h"
#include "script/front/lexer.h"
#include "script/front/parser.h"
#include "script/store/symbols.h"

namespace setup::front {

namespace {

bool AnyStatementFlag() {
  const Global& g = theGlobal;
  return g.m_bDefineStmt || g.m_bMacroStmt || g.m_bIncludeStmt || g.m_bStringDecl || g.m_bNumDecl ||
         g.m_bGlobalInit || g.m_bGlobalAssign;
}

void ClearStatementFlags() {
  Global& g = theGlobal;
  g.m_bDefineStmt = g.m_bMacroStmt = g.m_bIncludeStmt = 0;
  g.m_bStringDecl = g.m_bNumDecl = g.m_bGlobalInit = g.m_bGlobalAssign = 0;
}

// At the end of an included file the including file goes on behind the
// directive. Answers false when the saved state cannot be restored.
bool FinishInclude() {
  std::unique_ptr<IncludeFrame> frame = PopInclude();
  if (!RestoreInclude(frame.get())) {
    ReportError("cannot restore resource file.");
    return false;
  }
  return true;
}

NodePtr Fail(const char* trace) {
  theGlobal.ErrorFlag = 1;
  TraceLine(trace);
  return nullptr;
}

// Declarations of one type: NAME, then further names after ','.
void Declarations(bool isNum) {
  Global& g = theGlobal;
  for (;;) {
    if (isNum) {
      generate_num_key();
    } else {
      generate_string_key();
    }
    if (g.ErrorFlag || g.m_nToken != TK_COMMA) return;
    g.m_nToken = isNum ? TK_KW_NUM : TK_KW_STRING;
    std::strcpy(g.m_szToken, isNum ? "num" : "string");
  }
}

// '(' expt ')' '{' statement_sequence: the condition and block that if and
// while share. The num condition becomes m_pChild2 and the block m_pChild1;
// the closing '}' is left to the caller. False after a failure (a condition
// that is no expression gets `badCondition`).
bool ConditionAndBlock(SyntaxNode& node, const char* badCondition) {
  if (!MatchToken(TK_LPAREN)) return false;
  NodePtr condition = expt();
  if (!condition) {
    ReportError("%s", badCondition);
    return false;
  }
  if (condition->m_nType != ValueType::Num) {
    ReportError("cannot match type.");
    return false;
  }
  LinkChild(&node, node.m_pChild2, std::move(condition));
  if (!MatchToken(TK_RPAREN) || !MatchToken(TK_LBRACE)) return false;
  node.m_pChild1 = statement_sequence();
  return theGlobal.ErrorFlag == 0;
}

// if_stmt -> 'if' '(' expt ')' '{' statement_sequence '}' [ 'else' '{' statement_sequence '}' ]
NodePtr if_stmt() {
  Global& g = theGlobal;
  const char* trace = "Error in if_stmt()";
  NodePtr node = NewNode(NodeKind::IfT);
  if (!node) return Fail(trace);
  MatchToken(TK_IF);
  if (!ConditionAndBlock(*node, "expression invalid") || !MatchToken(TK_RBRACE)) {
    return Fail(trace);
  }
  if (g.m_nToken == TK_ELSE) {
    MatchToken(TK_ELSE);
    if (!MatchToken(TK_LBRACE)) return Fail(trace);
    node->m_pChild0 = statement_sequence();
    if (g.ErrorFlag || !MatchToken(TK_RBRACE)) return Fail(trace);
  }
  return node;
}

// while_stmt -> 'while' '(' expt ')' '{' statement_sequence '}'
NodePtr while_stmt() {
  Global& g = theGlobal;
  const char* trace = "Error in while_stmt()";
  NodePtr node = NewNode(NodeKind::WhileT);
  if (!node) return Fail(trace);
  MatchToken(TK_WHILE);
  ++g.m_nLoopDepth;
  if (!ConditionAndBlock(*node, "illegal expression.")) return Fail(trace);
  if (!node->m_pChild1) {
    ReportError("while region cannot be null.");
    return Fail(trace);
  }
  if (!MatchToken(TK_RBRACE)) return Fail(trace);
  --g.m_nLoopDepth;
  return node;
}

// ---- switch -------------------------------------------------------------------------

enum class SectionEnd { Failed, Done, NextCase, NextDefault };

// The sections of one switch, appended to its item list in source order.
class SwitchSections {
 public:
  SwitchSections(SyntaxNode* owner, ValueType selector)
      : m_Sections(owner->m_pItems), m_nSelector(selector) {}

  // Parses every section from the current 'case' or 'default' to the closing
  // '}'. A failed section fails every section before it as well, innermost
  // first, as nested section parsers would.
  bool ParseAll() {
    std::vector<bool> isCase;
    SectionEnd end = theGlobal.m_nToken == TK_CASE ? SectionEnd::NextCase : SectionEnd::NextDefault;
    while (end == SectionEnd::NextCase || end == SectionEnd::NextDefault) {
      isCase.push_back(end == SectionEnd::NextCase);
      end = isCase.back() ? ParseCase() : ParseDefault();
    }
    if (end == SectionEnd::Done) return true;
    for (std::size_t i = isCase.size() - 1; i-- > 0;) {
      if (!isCase[i] && isCase[i + 1]) ReportError("case section invalid.");
      ReportError(isCase[i] ? "error in case section" : "error in default section");
    }
    if (isCase.front()) {
      ReportError("case section invalid.");
    } else {
      ReportError("default section invalid.");
    }
    return false;
  }

  int DefaultCount() const { return m_nDefaults; }

 private:
  SectionEnd FailCase() {
    theGlobal.ErrorFlag = 1;
    ReportError("error in case section");
    return SectionEnd::Failed;
  }
  SectionEnd FailDefault() {
    theGlobal.ErrorFlag = 1;
    ReportError("error in default section");
    return SectionEnd::Failed;
  }

  void Append(NodePtr section) { m_Sections.Append(std::move(section)); }

  // Reads the label into the CaseT; false after a report.
  bool ReadLabel(SyntaxNode& node) {
    NodePtr label = expt();
    if (!label) {
      ReportError("case expression can not be NULL.");
      return false;
    }
    if (label->m_nType != m_nSelector) {
      ReportError("case expression not match type.");
      return false;
    }
    switch (label->m_nKind) {
      case NodeKind::NumT:
        node.m_Cache.m_nValue = TextToNum(label->m_szText ? label->m_szText->c_str() : "");
        break;
      case NodeKind::StringT:
        node.m_szText = label->m_szText;
        break;
      case NodeKind::ConstT:
        if (m_nSelector == ValueType::Num) {
          node.m_Cache.m_nValue = label->m_Cache.m_nValue;
        } else {
          node.m_szText = label->m_szText;
        }
        break;
      default:
        ReportError("case expression not constant.");
        return false;
    }
    bool fresh;
    if (m_nSelector == ValueType::Num) {
      fresh = m_NumLabels.insert(node.m_Cache.m_nValue).second;
    } else if (node.m_szText && !node.m_szText->empty()) {
      fresh = m_TextLabels.insert(*node.m_szText).second;
    } else {
      node.m_szText.reset();
      fresh = !m_bEmptyLabel;
      m_bEmptyLabel = true;
    }
    if (!fresh) {
      ReportError("case value already used");
      return false;
    }
    return true;
  }

  // case_stmt -> 'case' expt ':' ( '{' statement_sequence '}' | statement_sequence )
  SectionEnd ParseCase() {
    Global& g = theGlobal;
    NodePtr node = NewNode(NodeKind::CaseT);
    if (!node) return FailCase();
    if (!MatchToken(TK_CASE)) {
      ReportError("miss 'case'.");
      return FailCase();
    }
    if (!ReadLabel(*node)) return FailCase();
    if (!MatchToken(TK_COLON)) {
      ReportError("case expression miss ':'.");
      return FailCase();
    }
    g.m_bContinueSeen = 0;
    if (g.m_nToken == TK_LBRACE) {
      MatchToken(TK_LBRACE);
      node->m_pChild2 = statement_sequence();
      if (g.ErrorFlag) return FailCase();
      if (!MatchToken(TK_RBRACE)) {
        ReportError("case expression miss '}'.");
        return FailCase();
      }
    } else {
      node->m_pChild2 = statement_sequence();
      if (g.ErrorFlag) return FailCase();
    }
    if (g.m_bContinueSeen) {
      ReportError("illegal continue.");
      return FailCase();
    }
    Append(std::move(node));
    switch (g.m_nToken) {
      case TK_CASE:
        return SectionEnd::NextCase;
      case TK_DEFAULT:
        return SectionEnd::NextDefault;
      case TK_RBRACE:
        return SectionEnd::Done;
      default:
        ReportError("invalid '%s' expression", g.m_szToken);
        return FailCase();
    }
  }

  // default_stmt -> 'default' ':' '{' statement_sequence '}'
  SectionEnd ParseDefault() {
    Global& g = theGlobal;
    NodePtr node = NewNode(NodeKind::DefaultT);
    if (!node) return FailDefault();
    if (!MatchToken(TK_DEFAULT)) {
      ReportError("miss 'default'.");
      return FailDefault();
    }
    if (!MatchToken(TK_COLON)) {
      ReportError("default expression miss ':'.");
      return FailDefault();
    }
    if (!MatchToken(TK_LBRACE)) {
      ReportError("default expression miss '{'.");
      return FailDefault();
    }
    g.m_bContinueSeen = 0;
    node->m_pChild2 = statement_sequence();
    if (g.ErrorFlag) return FailDefault();
    if (g.m_bContinueSeen) {
      ReportError("illegal continue.");
      return FailDefault();
    }
    if (!MatchToken(TK_RBRACE)) {
      ReportError("default expression miss '}'.");
      return FailDefault();
    }
    Append(std::move(node));
    ++m_nDefaults;
    switch (g.m_nToken) {
      case TK_CASE:
        return SectionEnd::NextCase;
      case TK_RBRACE:
        return SectionEnd::Done;
      case TK_DEFAULT:
        ReportError("more than one default.");
        return FailDefault();
      default:
        ReportError("invalid '%s' expression", g.m_szToken);
        return FailDefault();
    }
  }

  NodeAppender m_Sections;  // the switch node's item list
  ValueType m_nSelector;
  int m_nDefaults = 0;
  std::unordered_set<std::int32_t> m_NumLabels;
  std::unordered_set<std::string> m_TextLabels;
  bool m_bEmptyLabel = false;
};

// switch_stmt -> 'switch' '(' expt ')' '{' { case_stmt | default_stmt } '}'
NodePtr switch_stmt() {
  Global& g = theGlobal;
  const char* trace = "Error in switch_stmt()";
  NodePtr node = NewNode(NodeKind::SwitchT);
  if (!node) return Fail(trace);
  MatchToken(TK_SWITCH);
  ++g.m_nLoopDepth;
  if (!MatchToken(TK_LPAREN)) {
    ReportError("miss '('.");
    return Fail(trace);
  }
  NodePtr selector = expt();
  if (!selector) {
    ReportError("switch no expression");
    return Fail(trace);
  }
  const ValueType type = selector->m_nType;
  if (type != ValueType::Num && type != ValueType::String) {
    ReportError("cannot match type.");
    return Fail(trace);
  }
  LinkChild(node.get(), node->m_pChild2, std::move(selector));
  if (!MatchToken(TK_RPAREN)) {
    ReportError("miss ')'.");
    return Fail(trace);
  }
  if (!MatchToken(TK_LBRACE)) {
    ReportError("miss '{'.");
    return Fail(trace);
  }
  SwitchSections sections(node.get(), type);
  if (g.m_nToken == TK_CASE || g.m_nToken == TK_DEFAULT) {
    if (!sections.ParseAll()) return Fail(trace);
  } else if (g.m_nToken != TK_RBRACE) {
    ReportError("illegal switch region.");
    return Fail(trace);
  }
  if (!MatchToken(TK_RBRACE)) {
    ReportError("miss '}'.");
    return Fail(trace);
  }
  --g.m_nLoopDepth;
  if (sections.DefaultCount() >= 2) {
    ReportError("more than one default.");
    return Fail(trace);
  }
  return node;
}

// ---- simple statements ---------------------------------------------------------------

// break_stmt -> 'break'    continue_stmt -> 'continue'
NodePtr jump_stmt(NodeKind kind) {
  Global& g = theGlobal;
  const bool isBreak = kind == NodeKind::BreakT;
  if (g.m_nLoopDepth <= 0) {
    ReportError(isBreak ? "illegal break." : "illegal continue.");
    g.ErrorFlag = 1;
    return nullptr;
  }
  NodePtr node = NewNode(kind);
  if (!node) return Fail(isBreak ? "Error in break_stmt()" : "Error in continue_stmt()");
  node->m_szText = g.m_szToken;
  MatchToken(isBreak ? TK_BREAK : TK_CONTINUE);
  if (!isBreak) g.m_bContinueSeen = 1;
  return node;
}

// return_stmt -> 'return' expt
NodePtr return_stmt() {
  Global& g = theGlobal;
  NodePtr node = NewNode(NodeKind::ReturnT);
  NodePtr value;
  if (node) {
    node->m_szText = g.m_szToken;
    MatchToken(TK_RETURN);
    value = expt();
    if (!value) ReportError("must return a value.");
  }
  if (!value) {
    g.ErrorFlag = 1;
    TraceLine("Error in return_stmt()");
    ReportError("illegal usage.");
    return nullptr;
  }
  LinkChild(node.get(), node->m_pChild2, std::move(value));
  return node;
}

// mscall_stmt -> '_mscall' '{' expt '}'
NodePtr mscall_stmt() {
  const char* trace = "Error in mscall_stmt()";
  NodePtr node = NewNode(NodeKind::MsCallT);
  if (!node) return Fail(trace);
  if (!MatchToken(TK_MSCALL)) {
    ReportError("illegal syntax.");
    return Fail(trace);
  }
  if (!MatchToken(TK_LBRACE)) {
    ReportError("miss '{'.");
    return Fail(trace);
  }
  NodePtr value = expt();
  if (!value) return Fail(trace);
  LinkChild(node.get(), node->m_pChild2, std::move(value));
  if (!MatchToken(TK_RBRACE)) {
    ReportError("miss '}'.");
    return Fail(trace);
  }
  return node;
}

// assign_stmt -> expt   (normally NAME '=' expt, NAME '+=' expt, ...)
NodePtr assign_stmt() {
  Global& g = theGlobal;
  NodePtr node = expt();
  if (!node) {
    ReportError("illegal assign to '%s'.", g.m_szToken);
    g.ErrorFlag = 1;
    return nullptr;
  }
  if (g.m_bInFunction) return node;
  AddStatement(std::move(node));
  g.m_bGlobalAssign = 1;
  return nullptr;
}

// call -> NAME '(' [expt {',' expt}] ')', checked against the callee's parameters.
NodePtr ParseCall(bool builtin) {
  Global& g = theGlobal;
  const std::string name = g.m_szToken;
  const std::int32_t nameToken = g.m_nToken;
  std::vector<ValueType> params;
  ValueType result = ValueType::None;
  bool known = false;
  if (builtin) {
    if (const BuiltinEntry* entry = GetBuiltinEntry(name.c_str())) {
      known = true;
      result = entry->nRetType;
      for (int i = 0; i < entry->nParamCount && i < 5; ++i) {
        params.push_back(entry->pParams[i].m_nType);
      }
    } else {
      ReportError("The '%s()' undefined. \n", name.c_str());
    }
  } else if (const FunctionEntry* entry = FindFunction(name)) {
    known = true;
    result = entry->m_nRetType;
    for (const ParamEntry& param : entry->m_Params) params.push_back(param.m_nType);
  } else {
    ReportError("external function '%s' undefined.\n", name.c_str());
  }

  NodePtr node = known ? NewNode(builtin ? NodeKind::InLineFunT : NodeKind::CallT) : nullptr;
  bool ok = node != nullptr;
  if (ok) {
    node->m_szText = name;
    node->m_nType = result;
    MatchToken(nameToken);
    ok = MatchToken(TK_LPAREN) != 0;
  }
  const int count = static_cast<int>(params.size());
  NodePtr none;
  NodeAppender items(node ? node->m_pItems : none);
  for (int i = 0; ok && i < count; ++i) {
    NodePtr item = NewNode(NodeKind::ItemT);
    NodePtr argument = item ? expt() : nullptr;
    if (!argument) {
      ReportError("parameters %d of '%s' cannot be null.", i + 1, name.c_str());
      ok = false;
      break;
    }
    if (argument->m_nType != params[i]) {
      ReportError("parameters '%d' of '%s' type illegal.", i + 1, name.c_str());
      ok = false;
      break;
    }
    LinkChild(item.get(), item->m_pChild2, std::move(argument));
    item->m_bConsumed = true;
    items.Append(std::move(item));
    if (i + 1 == count) break;
    if (g.m_nToken == TK_RPAREN) {
      ReportError("The '%s' does not take %d parametes.", name.c_str(), i + 1);
      ok = false;
    } else if (!MatchToken(TK_COMMA)) {
      if (builtin) {
        // A missing comma between the arguments of a built-in is forgiven.
        ReportError("'%s' miss ',' after parameters %d. ", name.c_str(), i + 1);
      } else {
        ReportError("'%s' miss ',' after parameters %d.", name.c_str(), i + 1);
        ok = false;
      }
    }
  }
  if (ok && g.m_nToken != TK_RPAREN) {
    ReportError("The '%s' does not take %d parametes.", name.c_str(), count);
    ok = false;
  }
  if (ok) {
    MatchToken(TK_RPAREN);
    return node;
  }
  g.ErrorFlag = 1;
  ReportError(builtin ? "There are something error about call '%s'.  "
                      : "There are something error about call '%s'. ",
              g.m_szToken);
  return nullptr;
}

}  // namespace

NodePtr callexfun_stmt() {
  return ParseCall(false);
}
NodePtr callinlinefun_stmt() {
  return ParseCall(true);
}

NodePtr statement(bool* produced) {
  Global& g = theGlobal;
  *produced = false;
  const std::int32_t token = g.m_nToken;
  if (token >= TK_BUILTIN_FIRST && token <= TK_BUILTIN_LAST) return callinlinefun_stmt();
  switch (token) {
    case TK_IDENT:
      if (IsFunctionDefined(g.m_szToken) != -1) return callexfun_stmt();
      return assign_stmt();
    case TK_NUMBER:
    case TK_STRING:
      return expt();
    case TK_KW_STRING:
      Declarations(false);
      return nullptr;
    case TK_KW_NUM:
      Declarations(true);
      return nullptr;
    case TK_MACRO:
      return macro_call_stmt();
    case TK_LBRACE:
      *produced = exterfun_stmt() != 0;
      return nullptr;
    case TK_IF:
      return if_stmt();
    case TK_INCLUDE:
      include_stmt();
      return nullptr;
    case TK_SWITCH:
      return switch_stmt();
    case TK_WHILE:
      return while_stmt();
    case TK_ASSIGN:
      return init_assign_stmt();
    case TK_BREAK:
      return jump_stmt(NodeKind::BreakT);
    case TK_CONTINUE:
      return jump_stmt(NodeKind::ContinueT);
    case TK_MSCALL:
      return mscall_stmt();
    case TK_RETURN:
      return return_stmt();
    case TK_DEFINE:
      define_stmt();
      return nullptr;
    default:
      return nullptr;  // the list ends here
  }
}

// statement_sequence -> { statement }
NodePtr statement_sequence() {
  Global& g = theGlobal;
  NodePtr head;
  NodeAppender list(head);
  if (!EnterNesting()) return head;
  for (;;) {
    bool produced = false;
    NodePtr node = statement(&produced);
    if (node) {
      // Outside function bodies the statements that must run have put
      // themselves into the global statement list already.
      if (g.m_bInFunction) list.Append(std::move(node));
    } else if (produced) {
      // A function body, kept by its function entry.
    } else if (AnyStatementFlag()) {
      ClearStatementFlags();
    } else {
      switch (g.m_nToken) {
        case TK_RBRACE:
        case TK_NONE:
          return head;
        case TK_END:
          // The end of an included file returns to the including file; the
          // end of a macro text or of the script ends the list.
          if (theIncludes.empty() || g.m_bInMacro) return head;
          if (!FinishInclude()) {
            g.ErrorFlag = 1;
            return head;
          }
          break;
        case TK_SEMICOLON:
          ReportError("invalid syntax ';'.");
          return head;
        default:
          if (g.ErrorFlag) ReportError("Error in statement_sequence()");
          return head;
      }
    }
    if (g.ErrorFlag) return head;
  }
}

}  // namespace setup::front
