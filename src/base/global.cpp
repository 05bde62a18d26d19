#include "base/global.h"

#include <cstring>

namespace setup {

void ResetGlobal(Global& g) {
  g.m_szInitName.reset();
  g.m_szExFunName.reset();
  g.m_pSourceFile.reset();
  g.m_hScriptFile = nullptr;
  g.m_nPreludeLines = 0;
  g.ErrorFlag = 0;
  g.m_nLineNo = 0;
  g.m_nLinePos = 0;
  g.m_nLineLen = 0;
  g.m_nMacroPos = 0;
  g.m_bInMacro = 0;
  g.m_pMacroText = nullptr;
  std::memset(g.m_szLine, 0, sizeof g.m_szLine);
  std::memset(g.m_szToken, 0, sizeof g.m_szToken);
  g.m_nToken = 0;
  g.m_bInFunction = 0;
  g.m_nLoopDepth = 0;
  g.m_bContinueSeen = 0;
  g.m_bDefineStmt = 0;
  g.m_bMacroStmt = 0;
  g.m_bIncludeStmt = 0;
  g.m_bStringDecl = 0;
  g.m_bNumDecl = 0;
  g.m_bGlobalInit = 0;
  g.m_bGlobalAssign = 0;
  g.m_nMacroDepth = 0;
  g.m_nMacroLine = 0;
  g.m_bCompileAbandoned = 0;
  g.m_bBreak = 0;
  g.m_bContinue = 0;
  g.m_bReturn = 0;
  g.m_bCallMain = 0;
  g.m_bNeedReboot = 0;
  g.m_pStackBase = nullptr;
  g.m_nSteps = 0;
  g.m_nPasses = 0;
  g.m_bRunAbandoned = 0;
  g.m_nLiveElements = 0;
}

}  // namespace setup
