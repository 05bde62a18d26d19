// The single state object of the library.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/textfile.h"
#include "platform/winapi.h"
#include "script/store/symbols.h"
#include "script/store/value.h"

namespace setup {

// Token codes of the lexer.
enum TokenCode : std::int32_t {
  TK_NONE = 0,  // a byte that begins no token (also a macro text's NUL)
  TK_IDENT = 1,
  TK_NUMBER = 2,
  TK_STRING = 3,
  TK_CONST = 4,
  TK_KW_STRING = 5,
  TK_KW_NUM = 6,
  TK_BUILTIN_FIRST = 7,
  TK_BUILTIN_LAST = 46,
  TK_MACRO = 47,
  TK_LBRACE = 49,
  TK_RBRACE = 50,
  TK_LBRACKET = 51,
  TK_RBRACKET = 52,
  TK_IF = 53,
  TK_THEN = 54,
  TK_ELSE = 55,
  TK_INCLUDE = 56,
  TK_SWITCH = 57,
  TK_CASE = 58,
  TK_DO = 59,
  TK_WHILE = 60,
  TK_ASSIGN = 61,
  TK_LPAREN = 62,
  TK_RPAREN = 63,
  TK_PLUS = 64,
  TK_MINUS = 65,
  TK_STAR = 66,
  TK_SLASH = 67,
  TK_ANDAND = 68,
  TK_OROR = 69,
  TK_AND = 70,
  TK_OR = 71,
  TK_LT = 72,
  TK_GT = 73,
  TK_LE = 74,
  TK_GE = 75,
  TK_NE = 76,
  TK_EQ = 77,
  TK_PLUS_ASSIGN = 78,
  TK_MINUS_ASSIGN = 79,
  TK_STAR_ASSIGN = 80,
  TK_SLASH_ASSIGN = 81,
  TK_PERCENT_ASSIGN = 82,
  TK_BREAK = 83,
  TK_CONTINUE = 84,
  TK_MSCALL = 85,
  TK_DEFAULT = 87,
  TK_RETURN = 88,
  TK_DEFINE = 89,
  TK_PERCENT = 90,
  TK_COLON = 91,
  TK_SEMICOLON = 92,
  TK_COMMA = 94,
  TK_ERROR = 97,
  TK_END = 98,
};

// One row of the keyword and constant table.
struct KeywordEntry {
  const char* szName = nullptr;
  std::int32_t nToken = 0;
  ValueType nType = ValueType::None;   // None for a keyword
  std::optional<std::string> szValue;  // string constants (the WINDIR values)
  std::int32_t nValue = 0;             // num constants
};

struct SyntaxNode;
// A built-in's handler: takes the call node (unused) and answers its result.
using BuiltinHandler = std::int32_t (*)(SyntaxNode* node);

// One row of the built-in function table.
struct BuiltinEntry {
  const char* szName = nullptr;
  std::int32_t nToken = 0;
  ValueType nRetType = ValueType::None;
  std::int32_t nParamCount = 0;
  ParamEntry pParams[5];  // the first nParamCount are used
  BuiltinHandler pfnHandler = nullptr;
};

// Entry points bound from SetupApi.dll and newdev.dll at start-up.
struct DeviceApi {
#define SETUP_DEVICE_API_FIELD(name, required) plat::PFN_##name name = nullptr;
  PLAT_SETUPAPI_BOUND_ENTRY_POINTS(SETUP_DEVICE_API_FIELD)
#undef SETUP_DEVICE_API_FIELD
  plat::PFN_UpdateDriverForPlugAndPlayDevicesA UpdateDriverForPlugAndPlayDevicesA = nullptr;
};

constexpr int kKeywordCount = 43;
constexpr int kBuiltinCount = 40;
constexpr int kLineSize = 4096;  // m_szLine and m_szToken
constexpr int kMaxTokenLen = 4095;

class Global {
 public:
  Global();
  Global(const Global&) = delete;
  Global& operator=(const Global&) = delete;

  // ---- Start-up and environment (live as long as the library) ----
  plat::HMODULE m_hModule = nullptr;  // the library's own module, set by start-up
  char m_szFileName[256] = {};        // current source file: the extracted script outside includes
  std::optional<std::string>
      m_szExpandFile;                   // "<script>.e"; built by the first Action, freed at unload
  std::int32_t m_nOsVersion = 0;        // OS_* code, set by start-up
  std::int32_t m_nLanguage = 1;         // 1 for locale 0x0804, else 2; set by start-up
  plat::HMODULE m_hSetupApi = nullptr;  // loaded SetupApi.dll
  plat::HMODULE m_hNewDev = nullptr;    // loaded newdev.dll
  DeviceApi m_Device;                   // bound device entry points

  // ---- Tables filled by construction ----
  std::int32_t m_nKeywordCount = 0;        // always 43
  KeywordEntry m_Keywords[kKeywordCount];  // keywords and predefined constants
  std::int32_t m_nBuiltinCount = 0;        // always 40
  BuiltinEntry m_Builtins[kBuiltinCount];  // the built-in functions

  // ---- Per run (reset by ResetGlobal) ----
  std::uint8_t ErrorFlag = 0;            // set by the part that detects a failure
  plat::HANDLE m_hScriptFile = nullptr;  // extracted script, opened with read sharing during Action
  std::unique_ptr<plat::TextFile> m_pSourceFile;  // current source stream of the lexer
  std::int32_t m_nPreludeLines = 0;  // lines of the generated prelude; reports subtract it

  // Lexer: source reader
  char m_szLine[kLineSize] = {};       // current line, NUL-terminated
  std::int32_t m_nLineLen = 0;         // bytes in m_szLine
  std::int32_t m_nLinePos = 0;         // next byte of m_szLine to deliver
  std::int32_t m_nLineNo = 0;          // lines read from the current file
  std::uint8_t m_bInMacro = 0;         // 1 while the reader delivers macro text
  const char* m_pMacroText = nullptr;  // macro text being read (owned by a macro entry or frame)
  std::int32_t m_nMacroPos = 0;        // next byte of m_pMacroText
  // Lexer: current token
  std::int32_t m_nToken = 0;       // TokenCode of the current token
  char m_szToken[kLineSize] = {};  // its text, at most 4,095 characters

  // Parser
  std::optional<std::string> m_szExFunName;  // function whose body is being compiled
  std::optional<std::string> m_szInitName;   // variable whose declaration ended at '='
  std::uint8_t m_bInFunction = 0;            // 1 while compiling a body / while a call frame exists
  std::int32_t m_nLoopDepth = 0;             // while/switch statements around the parse point
  std::uint8_t m_bContinueSeen = 0;          // a continue was parsed in the current case section
  std::uint8_t m_bDefineStmt = 0;            // statement flags: the statement just parsed
  std::uint8_t m_bMacroStmt = 0;             //   produced no node legitimately
  std::uint8_t m_bIncludeStmt = 0;
  std::uint8_t m_bStringDecl = 0;
  std::uint8_t m_bNumDecl = 0;
  std::uint8_t m_bGlobalInit = 0;
  std::uint8_t m_bGlobalAssign = 0;
  std::int32_t m_nMacroDepth = 0;  // macro expansions in progress (bounded)

  // Interpreter
  std::uint8_t m_bBreak = 0;  // control flags set by Generate
  std::uint8_t m_bContinue = 0;
  std::uint8_t m_bReturn = 0;
  std::uint8_t m_bCallMain = 0;        // main's arguments come from the value stack
  std::uint8_t m_bNeedReboot = 0;      // a driver or service operation needs a restart
  VariablePtr theStringResult;         // text result of a string built-in
  const char* m_pStackBase = nullptr;  // host stack address at Action entry (depth guard)
  // Test hook for fuzzers and tests: when non-zero, the evaluator steps one run
  // may take; the run fails once they are used up. Set by the host, never reset.
  std::uint32_t m_nStepLimit = 0;
  std::uint32_t m_nSteps = 0;  // evaluator steps taken in this run (RunMain clears it)
};

extern Global theGlobal;

// Returns the per-run members to their initial values.
void ResetGlobal(Global& global);

// True while the host stack used since Action began stays within the bound
// that keeps deep scripts from overflowing the caller's thread stack.
bool StackHasRoom();

}  // namespace setup
