// Macros (define, expansion) and include: both switch the source the lexer reads.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/global.h"
#include "diag/report.h"
#include "script/front/lexer.h"
#include "script/front/parser.h"
#include "script/store/symbols.h"

namespace setup::front {

namespace {

constexpr int kMaxMacroName = 254;      // name and parameter names
constexpr int kMaxMacroBody = 4095;     // replacement text
constexpr int kMaxMacroArgument = 254;  // one argument's text
constexpr int kMaxExpansion = 4095;     // expanded text of a macro with parameters
constexpr int kMaxMacroDepth = 64;      // expansions in progress
constexpr std::size_t kMaxIncludeDepth = 64;
constexpr std::size_t kMaxIncludePath = 254;

bool IsLetter(int c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// End of the source being read: the end of input, or the NUL of a macro text.
bool AtSourceEnd(int c) {
  return c == kEndOfInput || (c == 0 && theGlobal.m_bInMacro);
}

// The reader and token state that a macro expansion interrupts. The
// destructor puts the interrupted source back, with the token that followed
// the call, on every path out of the expansion.
class MacroFrame {
 public:
  MacroFrame() {
    const Global& g = theGlobal;
    m_pMacroText = g.m_pMacroText;
    m_szToken = g.m_szToken;
    m_bInMacro = g.m_bInMacro;
    m_nToken = g.m_nToken;
    m_nMacroPos = g.m_nMacroPos;
  }
  ~MacroFrame() {
    Global& g = theGlobal;
    g.m_nToken = m_nToken;
    std::memcpy(g.m_szToken, m_szToken.c_str(), m_szToken.size() + 1);
    g.m_bInMacro = m_bInMacro;
    g.m_pMacroText = m_pMacroText;
    g.m_nMacroPos = m_nMacroPos;
  }
  MacroFrame(const MacroFrame&) = delete;
  MacroFrame& operator=(const MacroFrame&) = delete;

 private:
  const char* m_pMacroText;
  std::string m_szToken;
  std::uint8_t m_bInMacro;
  std::int32_t m_nToken;
  std::int32_t m_nMacroPos;
};

// A token's text as it stands in source: string literals get their quotes back.
std::string SourceText() {
  const Global& g = theGlobal;
  if (g.m_nToken == TK_STRING) return std::string("\"") + g.m_szToken + "\"";
  return g.m_szToken;
}

void IllegalDefine(int at) {
  ReportError("illegal define. ");
  ReportError("\n'%c' : unexpected in macro definition\n", at == kEndOfInput ? ' ' : at);
  theGlobal.ErrorFlag = 1;
}

// Reads the name part (name and optional parameter list) of a definition.
// Answers the byte that ended it (a space or ')'), or fails with the report
// of an illegal definition.
bool ReadMacroHead(MacroEntry& macro, int* stop) {
  int c = ReadChar();
  while (c == ' ') c = ReadChar();
  if (!IsLetter(c)) {
    IllegalDefine(c);
    return false;
  }
  for (;;) {
    if (c == '\t' || c == '\n' || c == '\r' || AtSourceEnd(c)) {
      IllegalDefine(c);
      return false;
    }
    if (c == ' ') break;
    if (c == '(') {
      // Parameter list: names separated by ',' up to ')', spaces dropped.
      std::string param;
      for (;;) {
        c = ReadChar();
        if (c == '\t' || c == '\n' || c == '\r' || AtSourceEnd(c)) {
          IllegalDefine(c);
          return false;
        }
        if (c == ' ') continue;
        if (c == ',' || c == ')') {
          macro.m_Params.push_back(ParamEntry{ValueType::None, param});
          param.clear();
          if (c == ')') break;
          continue;
        }
        if (static_cast<int>(param.size()) >= kMaxMacroName) {
          ReportError("\nMacro define length must be less than %d bytes.\n", kMaxMacroName + 1);
          IllegalDefine(c);
          return false;
        }
        param += static_cast<char>(c);
      }
      macro.m_bHasParams = true;
      break;
    }
    if (static_cast<int>(macro.m_szName.size()) >= kMaxMacroName) {
      ReportError("\nMacro define length must be less than %d bytes.\n", kMaxMacroName + 1);
      IllegalDefine(c);
      return false;
    }
    macro.m_szName += static_cast<char>(c);
    c = ReadChar();
  }
  *stop = c;
  return true;
}

// Reads the replacement text up to the end of the line; a backslash continues
// it on the next non-blank line.
bool ReadMacroBody(std::string* body) {
  int c = ReadChar();
  while (c == ' ') c = ReadChar();
  for (;;) {
    if (c == '\n' || c == '\r' || AtSourceEnd(c)) return true;
    if (c == '\\') {
      do {
        c = ReadChar();
      } while (c != '\n' && !AtSourceEnd(c));
      if (c != '\n') return true;
      do {
        c = ReadChar();
      } while (c == ' ' || c == '\t' || c == '\n');
      if (AtSourceEnd(c)) return true;
    }
    if (c != 0) {
      if (static_cast<int>(body->size()) >= kMaxMacroBody) {
        ReportError("\nMacro stub length must be less than %d bytes.\n", kMaxMacroBody + 1);
        IllegalDefine(c);
        return false;
      }
      *body += static_cast<char>(c);
    }
    c = ReadChar();
  }
}

// Collects the arguments of a call: token texts glued together, split at
// every ',' and ended by a ')' outside parentheses.
bool CollectArguments(const std::string& name, std::vector<std::string>* args) {
  Global& g = theGlobal;
  if (!MatchToken(TK_LPAREN)) return false;
  int depth = 0;
  while (g.m_nToken != TK_RPAREN) {
    std::string arg;
    for (;;) {
      const std::int32_t token = g.m_nToken;
      if (token == TK_END || (token == TK_NONE && g.m_szToken[0] == '\0')) {
        ReportError("miss ')' in the call of macro '%s'.", name.c_str());
        return false;
      }
      if (token == TK_COMMA) break;
      if (token == TK_RPAREN) {
        if (depth == 0) break;
        --depth;
      } else if (token == TK_LPAREN) {
        ++depth;
      }
      const std::string piece = SourceText();
      if (arg.size() + piece.size() > static_cast<std::size_t>(kMaxMacroArgument)) {
        ReportError("parameters %d can be not long than %d bytes.\n",
                    static_cast<int>(args->size()) + 1, kMaxMacroArgument + 1);
        return false;
      }
      arg += piece;
      GetToken();
    }
    args->push_back(std::move(arg));
    if (g.m_nToken == TK_COMMA) MatchToken(TK_COMMA);
  }
  return MatchToken(TK_RPAREN) != 0;
}

// Builds the expansion of a macro with parameters by reading its body as
// tokens; each token is followed by one blank.
bool ExpandBody(const MacroEntry& macro, const std::vector<std::string>& args,
                std::string* expansion) {
  Global& g = theGlobal;
  g.m_bInMacro = 1;
  g.m_pMacroText = macro.m_szBody ? macro.m_szBody->c_str() : "";
  g.m_nMacroPos = 0;
  for (;;) {
    const std::int32_t token = GetToken();
    if (token == TK_NONE) return true;
    std::string piece = SourceText();
    if (token == TK_IDENT) {
      for (std::size_t i = 0; i < macro.m_Params.size(); ++i) {
        if (macro.m_Params[i].m_szName == g.m_szToken) {
          piece = args[i];
          break;
        }
      }
    }
    if (expansion->size() + piece.size() + 1 > static_cast<std::size_t>(kMaxExpansion)) {
      ReportError("macro '%s' define can be not long than %d bytes.", macro.m_szName.c_str(),
                  kMaxExpansion + 1);
      return false;
    }
    *expansion += piece;
    *expansion += ' ';
  }
}

NodePtr FailMacro() {
  theGlobal.ErrorFlag = 1;
  TraceLine("Error in macro_call_stmt()");
  return nullptr;
}

void FailInclude(const std::string& name) {
  ReportError("cannot include '%s'.", name.c_str());
  theGlobal.ErrorFlag = 1;
}

}  // namespace

// define_stmt -> 'define' NAME ['(' [NAME {',' NAME}] ')'] ' ' TEXT end-of-line
void define_stmt() {
  Global& g = theGlobal;
  auto macro = std::make_unique<MacroEntry>();
  int stop = 0;
  if (!ReadMacroHead(*macro, &stop)) return;
  if (MacroExists(macro->m_szName)) {
    ReportError("Macro '%s' had defined. ", macro->m_szName.c_str());
    IllegalDefine(stop);
    return;
  }
  // The entry joins the list before its body is read, and stays there (with
  // no body) when the body is illegal.
  const std::string name = macro->m_szName;
  MacroEntry* entry = theMacros.Append(std::move(macro), name);
  std::string body;
  if (!ReadMacroBody(&body)) return;
  entry->m_szBody = std::move(body);
  NotifyCompile(CompileEvent::Macro, name.c_str());
  g.m_bDefineStmt = 1;
  GetToken();
}

// macro_call_stmt -> NAME | NAME '(' [ARG {',' ARG}] ')'
NodePtr macro_call_stmt() {
  Global& g = theGlobal;
  const std::string name = g.m_szToken;
  // The line of the name: reading the token after it may move the reader on.
  const std::int32_t line = g.m_nLineNo;
  const MacroEntry* macro = FindMacro(name);
  if (macro == nullptr || !MatchToken(TK_MACRO)) return FailMacro();
  if (g.m_nMacroDepth >= kMaxMacroDepth) {
    ReportError("macro '%s' nested too deeply.", name.c_str());
    AbandonCompilation();
    return FailMacro();
  }
  if (!EnterNesting()) return FailMacro();

  std::vector<std::string> args;
  if (macro->m_bHasParams) {
    if (!CollectArguments(name, &args)) return FailMacro();
    if (args.size() != macro->m_Params.size()) {
      ReportError("'%s' can not take %d parameters. ", name.c_str(), static_cast<int>(args.size()));
      return FailMacro();
    }
  }

  // The expansion outlives the frame, which may point the reader into it.
  std::string expansion;
  // From here the reader is on the macro text until the frame ends.
  const MacroFrame frame;
  if (macro->m_bHasParams) {
    if (!ExpandBody(*macro, args, &expansion)) return FailMacro();
    g.m_pMacroText = expansion.c_str();
  } else {
    g.m_pMacroText = macro->m_szBody ? macro->m_szBody->c_str() : "";
  }
  g.m_bInMacro = 1;
  g.m_nMacroPos = 0;
  if (g.m_nMacroDepth == 0) g.m_nMacroLine = line;
  ++g.m_nMacroDepth;
  GetToken();
  NodePtr list = statement_sequence();
  --g.m_nMacroDepth;
  if (!list) g.m_bMacroStmt = 1;
  return list;
}

// include_stmt -> 'include' (STRING | CONSTANT)
void include_stmt() {
  Global& g = theGlobal;
  MatchToken(TK_INCLUDE);
  std::string given = g.m_szToken;
  if (g.m_bInMacro) {
    // The included file would be read behind the macro text; not supported.
    ReportError("include can not be used in a macro.");
    FailInclude(given);
    return;
  }
  if (g.m_nToken != TK_STRING && g.m_nToken != TK_CONST) {
    FailInclude(given);
    return;
  }
  NodePtr operand = expt();
  if (!operand) {
    FailInclude(given);
    return;
  }
  const bool literal = operand->m_nKind == NodeKind::StringT;
  const bool constant = operand->m_nKind == NodeKind::ConstT &&
                        operand->m_nConstType == ValueType::String && operand->m_szText;
  if ((!literal && !constant) || !operand->m_szText || operand->m_szText->empty()) {
    FailInclude(given);
    return;
  }
  const std::string path = *operand->m_szText;
  operand.reset();
  if (theIncludes.size() >= kMaxIncludeDepth) {
    ReportError("include '%s' nested too deeply.", path.c_str());
    FailInclude(path);
    AbandonCompilation();
    return;
  }
  if (path.size() > kMaxIncludePath) {
    ReportError("file %s not found.\n", path.c_str());
    FailInclude(path);
    return;
  }
  NotifyCompile(CompileEvent::Include, path.c_str());
  if (!OpenInclude(path)) {
    FailInclude(path);
    return;
  }
  GetToken();
  g.m_bIncludeStmt = 1;
}

}  // namespace setup::front
