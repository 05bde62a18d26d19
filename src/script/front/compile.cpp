// The compile step: first token, then one statement_sequence for the whole
// source; and the compile-only entry that tools use.
#include "script/front/compile.h"

#include <cstdarg>
#include <cstring>
#include <string>

#include "diag/report.h"
#include "entry/action.h"
#include "base/global.h"
#include "script/front/lexer.h"
#include "script/front/parser.h"
#include "script/store/symbols.h"

namespace setup {

namespace front {

namespace {
// Set once the compilation is abandoned for nesting too deep: the unwinding
// levels then add no further reports.
bool g_bAbandoned = false;
}  // namespace

void ResetFrontState() {
  g_bAbandoned = false;
}

int ReportError(const char* format, ...) {
  if (format == nullptr) return setup::ReportError(nullptr);
  if (g_bAbandoned) return 1;
  char buffer[kReportBufferSize];
  va_list args;
  va_start(args, format);
  FormatText(buffer, sizeof buffer, format, args);
  va_end(args);
  return setup::ReportError("%s", buffer);
}

bool EnterNesting() {
  if (g_bAbandoned) return false;
  if (StackHasRoom()) return true;
  ReportError("script nested too deeply.");
  theGlobal.ErrorFlag = 1;
  g_bAbandoned = true;
  return false;
}

void AbandonCompilation() {
  theGlobal.ErrorFlag = 1;
  g_bAbandoned = true;
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

int CheckScriptFile(const char* path) {
  Global& g = theGlobal;
  if (path == nullptr) return 0;
  // `path` may be m_szFileName itself.
  const std::string savedFileName = g.m_szFileName;
  const std::string source = path;
  std::strncpy(g.m_szFileName, source.c_str(), sizeof g.m_szFileName - 1);
  g.m_szFileName[sizeof g.m_szFileName - 1] = '\0';
  g.m_pStackBase = static_cast<const char*>(__builtin_frame_address(0));

  int compiled = 0;
  g.m_pSourceFile = plat::TextFile::Open(source.c_str(), "r");
  if (!g.m_pSourceFile) {
    ReportError("file %s not found.", source.c_str());
  } else {
    front::ResetReader();
    if (CompileScript() && !g.ErrorFlag) {
      PrintLine("\n");
      PrintLine("-----Compiled finished.-----");
      PrintLine("\n");
      compiled = 1;
    } else {
      PrintLine("\n\n");
      PrintLine("-----Compile failed.------");
      PrintLine("-----Error executing.------");
      PrintLine("\n\n");
    }
  }

  FreeAll();
  if (g.m_pSourceFile) g.m_pSourceFile->Close();
  g.m_pSourceFile.reset();
  ResetGlobal(g);
  std::strncpy(g.m_szFileName, savedFileName.c_str(), sizeof g.m_szFileName - 1);
  g.m_szFileName[sizeof g.m_szFileName - 1] = '\0';
  return compiled;
}

}  // namespace setup
