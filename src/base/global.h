// The single state object of the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/textfile.h"
#include "platform/winapi.h"

namespace setup {

struct KeywordEntry;
struct BuiltinEntry;
class ScriptObserver;

constexpr int kLineSize = 4096;     // m_szLine and m_szToken
constexpr int kMaxTokenLen = 4095;  // longer tokens are read and cut
// Stack the compiler and interpreter may use below Action's frame. A Windows
// thread gets 1 MiB by default; sanitizer builds use far larger frames.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::ptrdiff_t kStackBudget = 4 * 1024 * 1024;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr std::ptrdiff_t kStackBudget = 4 * 1024 * 1024;
#else
constexpr std::ptrdiff_t kStackBudget = 512 * 1024;
#endif
#else
constexpr std::ptrdiff_t kStackBudget = 512 * 1024;
#endif

// What the front end tells a host observer while it compiles, so that an
// editor service can learn where names are declared without a parser of its
// own. The observer reads the place (file, line, reader position) from
// theGlobal at the call.
enum class CompileEvent : std::uint8_t {
  Declaration,  // a name after `num`/`string` is the current token (its kind follows)
  Variable,     // that name became a variable: the newest of its scope
  Parameter,    // a parameter name of a function header is the current token
  Prototype,    // that name became a function prototype (entry in theFunctions)
  Definition,   // that name became a function definition; its body follows
  BodyEnd,      // the '}' that closes the body being compiled is the current token
  Macro,        // the macro `name` was defined (its entry holds its body)
  Include,      // the file `name` is about to be opened by an include
};
using CompileObserver = void (*)(CompileEvent event, const char* name);

class Global {
 public:
  Global();
  Global(const Global&) = delete;
  Global& operator=(const Global&) = delete;

  // ---- Start-up and environment (live as long as the library) ----
  plat::HMODULE m_hModule = nullptr;  // the library's own module, set by start-up
  char m_szFileName[256] = {};        // current source file: the extracted script outside includes
  // "<script>.e": built by the first Action, freed at unload.
  std::optional<std::string> m_szExpandFile;
  std::int32_t m_nOsVersion = 0;        // OS_* code, set by start-up
  std::int32_t m_nLanguage = 1;         // 1 for locale 0x0804, else 2; set by start-up
  plat::HMODULE m_hSetupApi = nullptr;  // loaded SetupApi.dll
  plat::HMODULE m_hNewDev = nullptr;    // loaded newdev.dll

  // ---- Tables filled by construction ----
  // Each table's rows are stored by the code that owns their type (the lexer's
  // keyword table, builtins/table.cpp); construction fills them and points here.
  std::int32_t m_nKeywordCount = 0;    // always 43
  KeywordEntry* m_Keywords = nullptr;  // keywords and predefined constants
  std::int32_t m_nBuiltinCount = 0;    // always 40
  BuiltinEntry* m_Builtins = nullptr;  // the built-in functions

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
  std::int32_t m_nMacroLine = 0;   // line of the outermost macro use being expanded
  // Set by the front end once the compilation is abandoned for nesting too
  // deep: the unwinding levels then add no further reports.
  std::uint8_t m_bCompileAbandoned = 0;

  // Interpreter
  std::uint8_t m_bBreak = 0;  // control flags set by Generate
  std::uint8_t m_bContinue = 0;
  std::uint8_t m_bReturn = 0;
  std::uint8_t m_bCallMain = 0;        // main's arguments come from the value stack
  std::uint8_t m_bNeedReboot = 0;      // a driver or service operation needs a restart
  const char* m_pStackBase = nullptr;  // host stack address at Action entry (depth guard)
  // Test hook for fuzzers and tests: when non-zero, the evaluator steps one run
  // may take; the run fails once they are used up. Set by the host, never reset.
  std::uint32_t m_nStepLimit = 0;
  // Host setting, never reset: told of declarations while compiling. The
  // library itself never sets it.
  CompileObserver m_pCompileObserver = nullptr;
  std::uint32_t m_nSteps = 0;  // evaluator steps taken in this run (RunMain clears it)
  // Host settings, never reset: the observer of a trace or of coverage (none:
  // nothing is watched), and whether the num programs and the loop machine
  // give way to the tree walk, which alone runs statement by statement.
  ScriptObserver* m_pObserver = nullptr;
  std::uint8_t m_bWalkOnly = 0;
  // Test hook for fuzzers: when non-zero, the loop passes and script calls one
  // run may make. Unlike the step budget it counts the same on every
  // evaluation path, so it bounds runs that keep the fast paths.
  std::uint32_t m_nPassLimit = 0;
  std::uint32_t m_nPasses = 0;       // loop passes and calls made in this run
  std::uint8_t m_bRunAbandoned = 0;  // a limit stopped the run (set by AbandonRun)
  std::int64_t m_nLiveElements = 0;  // array elements the run holds (the element budget)
};

extern Global theGlobal;

// Returns the per-run members to their initial values. Everything that lives
// for one run only is a member of Global, so this clears it all; ResetRun
// (script/store/symbols.h) releases the run's records first.
void ResetGlobal(Global& global);

// Tells the compile observer, when there is one, of `event`.
inline void NotifyCompile(CompileEvent event, const char* name) {
  if (theGlobal.m_pCompileObserver != nullptr) theGlobal.m_pCompileObserver(event, name);
}

// True while the host stack used since Action began stays within the bound
// that keeps deep scripts from overflowing the caller's thread stack.
inline bool StackHasRoom() {
  const char* here = static_cast<const char*>(__builtin_frame_address(0));
  if (theGlobal.m_pStackBase == nullptr) return true;
  return theGlobal.m_pStackBase - here < kStackBudget;
}

}  // namespace setup
