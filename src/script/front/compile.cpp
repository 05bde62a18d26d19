// The compile step: first token, then one statement_sequence for the whole
// source; and the compile-only entry that tools use.
#include "script/front/compile.h"

#include <cstdarg>
#include <cstring>
#include <string>

#include "base/global.h"
#include "diag/report.h"
#include "script/front/lexer.h"
#include "script/front/parser.h"
#include "script/store/symbols.h"

namespace setup {

namespace front {

void ResetFrontState() {
  theGlobal.m_bCompileAbandoned = 0;
}

int ReportError(const char* format, ...) {
  if (format == nullptr) return setup::ReportError(nullptr);
  if (theGlobal.m_bCompileAbandoned) return 1;
  char buffer[kReportBufferSize];
  va_list args;
  va_start(args, format);
  FormatText(buffer, sizeof buffer, format, args);
  va_end(args);
  return setup::ReportError("%s", buffer);
}

bool EnterNesting() {
  if (theGlobal.m_bCompileAbandoned) return false;
  if (StackHasRoom()) return true;
  ReportError("script nested too deeply.");
  AbandonCompilation();
  return false;
}

void AbandonCompilation() {
  theGlobal.ErrorFlag = 1;
  theGlobal.m_bCompileAbandoned = 1;
}

}  // namespace front

int CompileScript() {
  Global& g = theGlobal;
  if (g.m_pStackBase == nullptr) {
    g.m_pStackBase = static_cast<const char*>(__builtin_frame_address(0));
  }
  front::ResetFrontState();
  if (!theVariables.Empty()) {
    ShowMessageBox("A fatal error occur , memory leak", "Warning", plat::MB_ICONSTOP);
  }
  front::GetToken();
  // Outside function bodies statements keep their nodes elsewhere, so the
  // top-level list is always empty.
  NodePtr list = front::statement_sequence();
  list.reset();
  return g.m_nToken == TK_END ? 1 : 0;
}

// ---- Compile session ---------------------------------------------------------------------

namespace {
void SetFileName(const char* text) {
  std::strncpy(theGlobal.m_szFileName, text, sizeof theGlobal.m_szFileName - 1);
  theGlobal.m_szFileName[sizeof theGlobal.m_szFileName - 1] = '\0';
}
}  // namespace

CompileSession::CompileSession(const char* path) : m_szSavedFileName(theGlobal.m_szFileName) {
  Global& g = theGlobal;
  if (path == nullptr) return;
  // `path` may be m_szFileName itself.
  const std::string source = path;
  SetFileName(source.c_str());
  g.m_pStackBase = static_cast<const char*>(__builtin_frame_address(0));
  g.m_pSourceFile = plat::TextFile::Open(source.c_str(), "r");
  if (!g.m_pSourceFile) {
    ReportError("file %s not found.", source.c_str());
    return;
  }
  front::ResetReader();
  m_bOpened = true;
}

CompileSession::~CompileSession() {
  ResetRun();
  SetFileName(m_szSavedFileName.c_str());
}

int CompileSession::Compile() {
  if (!m_bOpened) return 0;
  return CompileScript() && !theGlobal.ErrorFlag ? 1 : 0;
}

int CheckScriptFile(const char* path) {
  if (path == nullptr) return 0;
  CompileSession session(path);
  if (!session.Opened()) return 0;
  if (session.Compile()) {
    PrintLine("\n");
    PrintLine("-----Compiled finished.-----");
    PrintLine("\n");
    return 1;
  }
  PrintLine("\n\n");
  PrintLine("-----Compile failed.------");
  PrintLine("-----Error executing.------");
  PrintLine("\n\n");
  return 0;
}

}  // namespace setup
