// Symbol tables and scopes: lookups by the compile-time and run-time rules,
// the value stack, call frames, the include stack and the release after a run.
#include "script/store/symbols.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/global.h"
#include "diag/report.h"

namespace setup {

NamedList<Variable, VariablePtr> theVariables;
NamedList<FunctionEntry> theFunctions;
NamedList<MacroEntry> theMacros;
std::vector<NodePtr> theStatements;
std::vector<std::unique_ptr<CallFrame>> theCallFrames;
std::vector<VariablePtr> theValueStack;
VariablePtr theStringResult;
std::int64_t theFrameBase = -1;
const FunctionEntry* theTopFunction = nullptr;
std::vector<std::unique_ptr<IncludeFrame>> theIncludes;

std::vector<std::unique_ptr<CallFrame>> theSpareFrames;

namespace {

bool HasName(const Variable& var, const std::string& name) {
  return var.m_szName && *var.m_szName == name;
}

// The function whose body is being compiled, or none.
FunctionEntry* CurrentFunction() {
  return theGlobal.m_szExFunName ? FindFunction(*theGlobal.m_szExFunName) : nullptr;
}

const char* CurrentFunctionName() {
  return theGlobal.m_szExFunName ? theGlobal.m_szExFunName->c_str() : "";
}

}  // namespace

Variable* FunctionEntry::FindLocal(const std::string& name) const {
  for (const auto& local : m_Locals) {
    if (HasName(*local, name)) return local.get();
  }
  return nullptr;
}

// ---- Compile-time lookups ------------------------------------------------------

std::uint32_t NewFunctionId() {
  static std::uint32_t s_nLast = 0;
  if (++s_nLast == 0) s_nLast = 1;  // after 2^32 entries: 0 stays the top level's
  return s_nLast;
}

FunctionEntry* FindFunction(const std::string& name) {
  if (name.empty()) return nullptr;
  return theFunctions.Find(name);
}

int FunctionExists(const std::string& name) {
  return FindFunction(name) != nullptr ? 1 : 0;
}

int IsFunctionDefined(const std::string& name) {
  const FunctionEntry* entry = FindFunction(name);
  if (entry == nullptr) return -1;
  return entry->m_bDefined ? 1 : 0;
}

int SameSignature(const FunctionEntry& a, const FunctionEntry& b) {
  if (a.m_szName.empty() || b.m_szName.empty() || a.m_szName != b.m_szName) return 0;
  if (a.m_Params.size() != b.m_Params.size()) return 0;
  for (std::size_t i = 0; i < a.m_Params.size(); ++i) {
    const ParamEntry& pa = a.m_Params[i];
    const ParamEntry& pb = b.m_Params[i];
    if (pa.m_nType != pb.m_nType) return 0;
    if (pa.m_szName.empty() || pb.m_szName.empty() || pa.m_szName != pb.m_szName) return 0;
  }
  return 1;
}

int IsParaExist(const std::vector<ParamEntry>& list, const std::string& name) {
  if (name.empty()) return 0;
  for (const ParamEntry& param : list) {
    if (param.m_szName == name) return 1;
  }
  return 0;
}

MacroEntry* FindMacro(const std::string& name) {
  return theMacros.Find(name);
}

int MacroExists(const std::string& name) {
  return FindMacro(name) != nullptr ? 1 : 0;
}

int VariableExists(const std::string& name, int localOnly) {
  if (theGlobal.m_bInFunction == 1) {
    FunctionEntry* function = CurrentFunction();
    if (function == nullptr) {
      ReportError("'%s' not declare.", CurrentFunctionName());
      return 0;
    }
    if (function->FindLocal(name) != nullptr) return 1;
    if (localOnly == 1) return 0;
  }
  return theVariables.Find(name) != nullptr ? 1 : 0;
}

int VariableExistsTyped(const std::string& name, ValueType type, int localOnly) {
  if (theGlobal.m_bInFunction == 1) {
    FunctionEntry* function = CurrentFunction();
    if (function == nullptr) {
      ReportError("'%s' not declare.", CurrentFunctionName());
      return 0;
    }
    for (const auto& local : function->m_Locals) {
      if (HasName(*local, name) && local->m_nType == type) return 1;
    }
    if (localOnly == 1) return 0;
  }
  for (const auto& global : theVariables.Entries()) {
    if (HasName(*global, name) && global->m_nType == type) return 1;
  }
  return 0;
}

Variable* FindVariable(const std::string& name, const std::string* functionName) {
  if (functionName != nullptr) {
    FunctionEntry* function = FindFunction(*functionName);
    if (function == nullptr) return nullptr;
    if (Variable* local = function->FindLocal(name)) return local;
  }
  return theVariables.Find(name);
}

void AddVariable(VariablePtr variable) {
  if (!variable) return;
  if (theGlobal.m_bInFunction == 1) {
    FunctionEntry* function = CurrentFunction();
    if (function == nullptr) {
      ReportError("Add temp val to '%s' failed.", CurrentFunctionName());
      return;
    }
    function->m_Locals.push_back(std::move(variable));
    return;
  }
  const std::string name = variable->m_szName.value_or(std::string());
  variable->m_nGlobal = static_cast<std::uint32_t>(theVariables.Size() + 1);
  theVariables.Append(std::move(variable), name);
}

void AddStatement(NodePtr node) {
  if (node) theStatements.push_back(std::move(node));
}

// ---- Run-time lookup and stacks --------------------------------------------------

namespace {

// The stack positions of the innermost frame that FindValue searches:
// [first, end). False when there is no frame to search.
bool FrameWindow(const CallFrame* frame, std::int64_t& first, std::int64_t& end) {
  const auto size = static_cast<std::int64_t>(theValueStack.size());
  if (frame == nullptr || frame->m_pFunction == nullptr || theFrameBase < 0 ||
      theFrameBase >= size) {
    return false;
  }
  // The frame: parameters below the marker, the marker, then the locals.
  const FunctionEntry& function = *frame->m_pFunction;
  const auto params = static_cast<std::int64_t>(function.m_Params.size());
  const auto locals = static_cast<std::int64_t>(function.m_Locals.size());
  first = std::max<std::int64_t>(theFrameBase - params, 0);
  end = std::min<std::int64_t>(first + locals + 1, size);
  return true;
}

}  // namespace

Variable* FindValue(const std::string& name) {
  std::int64_t first = 0;
  std::int64_t end = 0;
  if (FrameWindow(TopFrame(), first, end)) {
    for (std::int64_t i = first; i < end; ++i) {
      Variable* value = theValueStack[static_cast<std::size_t>(i)].get();
      if (HasName(*value, name)) return value;
    }
  }
  return theVariables.Find(name);
}

namespace {

// Whether a binding can remember `global` (none: an undefined name), and
// where: only a global that AddVariable placed knows its position.
bool Bindable(const Variable* global) {
  return global == nullptr || global->m_nGlobal != 0;
}
std::uint32_t GlobalPosition(const Variable* global) {
  return global != nullptr ? global->m_nGlobal : 0;
}

}  // namespace

Variable* BindValue(const std::string& name, NameBinding& binding) {
  const CallFrame* frame = TopFrame();
  std::int64_t first = 0;
  std::int64_t end = 0;
  if (!FrameWindow(frame, first, end)) {
    // Top level (or no usable frame): the globals, fixed while a script runs.
    Variable* global = theVariables.Find(name);
    if (frame == nullptr && Bindable(global))
      binding = NameBinding::Global(0, GlobalPosition(global));
    return global;
  }
  const FunctionEntry* function = frame->m_pFunction;
  // Only a whole frame has the layout that a remembered place relies on.
  const bool whole = theFrameBase - static_cast<std::int64_t>(function->m_Params.size()) >= 0 &&
                     end - first == static_cast<std::int64_t>(function->m_Locals.size()) + 1;
  for (std::int64_t i = first; i < end; ++i) {
    Variable* value = theValueStack[static_cast<std::size_t>(i)].get();
    if (HasName(*value, name)) {
      if (whole) binding = NameBinding::Slot(function->m_nId, static_cast<std::int32_t>(i - first));
      return value;
    }
  }
  Variable* global = theVariables.Find(name);
  if (whole && Bindable(global)) {
    binding = NameBinding::Global(function->m_nId, GlobalPosition(global));
  }
  return global;
}

VariablePtr PopValue() {
  if (theValueStack.empty()) {
    if (theFrameBase != -1) {
      // A frame base without a stack: the state is broken. Positions show as
      // index + 1, 0 standing for none.
      char text[96];
      std::snprintf(text, sizeof text, "a fatal error occur: esp:0x%X ebp:0x%x", 0u,
                    static_cast<unsigned>(theFrameBase + 1));
      ShowMessageBox(text, "Warning", plat::MB_ICONINFORMATION);
    }
    theFrameBase = -1;
    return nullptr;
  }
  VariablePtr value = std::move(theValueStack.back());
  theValueStack.pop_back();
  if (IsLeftover(value.get())) {
    // One leftover of a run: the run stays with the others.
    if (value->m_bLeftoverRun && value->m_nSavedFrameBase > 1) {
      --value->m_nSavedFrameBase;
      theValueStack.push_back(std::move(value));
    }
    // The shared record stays unwritten: whoever pops it gets its own copy.
    value = NewNumValue();
    if (value) value->m_nNum = 1;
  }
  if (theValueStack.empty()) theFrameBase = -1;
  return value;
}

void PushFrame(std::unique_ptr<CallFrame> frame) {
  if (!frame) return;
  theTopFunction = frame->m_pFunction;
  theCallFrames.push_back(std::move(frame));
  theGlobal.m_bInFunction = 1;
}

std::unique_ptr<CallFrame> PopFrame() {
  if (theCallFrames.empty()) return nullptr;
  std::unique_ptr<CallFrame> frame = std::move(theCallFrames.back());
  theCallFrames.pop_back();
  theTopFunction = theCallFrames.empty() ? nullptr : theCallFrames.back()->m_pFunction;
  if (theCallFrames.empty()) theGlobal.m_bInFunction = 0;
  return frame;
}

CallFrame* TopFrame() {
  return theCallFrames.empty() ? nullptr : theCallFrames.back().get();
}

// EnterFrame and LeaveFrame do what PushFrame and PopFrame do, moving the
// records straight between the lists.
void EnterFrameSlow(FunctionEntry* function) {
  const std::size_t spares = theSpareFrames.size();
  if (spares >= 2 && theSpareFrames[spares - 1]->m_pFunction != function &&
      theSpareFrames[spares - 2]->m_pFunction == function) {
    // Calls that alternate between two functions find the other one's
    // record on top and this one's below it.
    std::swap(theSpareFrames[spares - 1], theSpareFrames[spares - 2]);
  } else if (spares == 1 && theSpareFrames.back()->m_pFunction != function) {
    // The other function's record stays for its next call.
    theSpareFrames.push_back(std::make_unique<CallFrame>());
  }
  if (theSpareFrames.empty()) theSpareFrames.push_back(std::make_unique<CallFrame>());
  CallFrame& frame = *theSpareFrames.back();
  // A spare frame of the same function already holds its name. Nothing
  // moves until the steps that may fail are done.
  if (frame.m_pFunction != function) {
    frame.m_szFunName = function->m_szName;
    frame.m_pFunction = function;
  }
  theCallFrames.push_back(std::move(theSpareFrames.back()));
  theSpareFrames.pop_back();
  theTopFunction = function;
  theGlobal.m_bInFunction = 1;
}

bool LeaveFrameSlow() {
  if (theCallFrames.empty()) return false;
  theSpareFrames.push_back(std::move(theCallFrames.back()));
  theCallFrames.pop_back();
  if (theCallFrames.empty()) {
    theTopFunction = nullptr;
    theGlobal.m_bInFunction = 0;
  } else {
    theTopFunction = theCallFrames.back()->m_pFunction;
  }
  return true;
}

// ---- Include stack -------------------------------------------------------------------

namespace {

// Bytes of the line buffer worth saving: its text and anything the reader
// still counts as part of the line.
std::size_t SavedLineLength() {
  const std::size_t text = strnlen(theGlobal.m_szLine, kLineSize - 1);
  const std::size_t counted =
      theGlobal.m_nLineLen > 0 ? static_cast<std::size_t>(theGlobal.m_nLineLen) : 0;
  return std::min<std::size_t>(std::max(text, counted), kLineSize - 1);
}

}  // namespace

int PushInclude() {
  auto frame = std::make_unique<IncludeFrame>();
  frame->m_pSource = std::move(theGlobal.m_pSourceFile);
  frame->m_nLineNo = theGlobal.m_nLineNo;
  frame->m_szLine.assign(theGlobal.m_szLine, SavedLineLength());
  frame->m_nLineLen = theGlobal.m_nLineLen;
  frame->m_nLinePos = theGlobal.m_nLinePos;
  frame->m_nToken = theGlobal.m_nToken;
  frame->m_szToken.assign(theGlobal.m_szToken, strnlen(theGlobal.m_szToken, kLineSize - 1));
  frame->m_szFileName.assign(theGlobal.m_szFileName,
                             strnlen(theGlobal.m_szFileName, sizeof theGlobal.m_szFileName - 1));
  theIncludes.push_back(std::move(frame));
  return 1;
}

int OpenInclude(const std::string& fileName) {
  PushInclude();
  // A name must fit the file-name buffer that reports and frames use.
  if (fileName.size() < sizeof theGlobal.m_szFileName - 1) {
    theGlobal.m_pSourceFile = plat::TextFile::Open(fileName.c_str(), "r");
  }
  if (!theGlobal.m_pSourceFile) {
    ReportError("file %s not found.\n", fileName.c_str());
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  std::memset(theGlobal.m_szFileName, 0, sizeof theGlobal.m_szFileName);
  std::memcpy(theGlobal.m_szFileName, fileName.data(), fileName.size());
  theGlobal.m_nLineNo = 0;
  theGlobal.m_nLinePos = 0;
  theGlobal.m_nLineLen = 0;
  std::memset(theGlobal.m_szLine, 0, sizeof theGlobal.m_szLine);
  return 1;
}

std::unique_ptr<IncludeFrame> PopInclude() {
  if (theIncludes.empty()) return nullptr;
  std::unique_ptr<IncludeFrame> frame = std::move(theIncludes.back());
  theIncludes.pop_back();
  return frame;
}

int RestoreInclude(IncludeFrame* frame) {
  if (frame == nullptr) return 0;
  theGlobal.m_pSourceFile = std::move(frame->m_pSource);
  std::memset(theGlobal.m_szFileName, 0, sizeof theGlobal.m_szFileName);
  std::memcpy(theGlobal.m_szFileName, frame->m_szFileName.data(),
              std::min(frame->m_szFileName.size(), sizeof theGlobal.m_szFileName - 1));
  theGlobal.m_nLineNo = frame->m_nLineNo;
  std::memset(theGlobal.m_szLine, 0, sizeof theGlobal.m_szLine);
  std::memcpy(theGlobal.m_szLine, frame->m_szLine.data(),
              std::min<std::size_t>(frame->m_szLine.size(), kLineSize - 1));
  theGlobal.m_nLineLen = frame->m_nLineLen;
  theGlobal.m_nLinePos = frame->m_nLinePos;
  theGlobal.m_nToken = frame->m_nToken;
  std::memset(theGlobal.m_szToken, 0, sizeof theGlobal.m_szToken);
  std::memcpy(theGlobal.m_szToken, frame->m_szToken.data(),
              std::min<std::size_t>(frame->m_szToken.size(), kLineSize - 1));
  return 1;
}

// ---- Release ---------------------------------------------------------------------------

void FreeAll() {
  while (!theValueStack.empty()) PopValue();
  while (!theCallFrames.empty()) PopFrame();
  // Function bodies go with their entries.
  theFunctions.Clear();
  theMacros.Clear();
  theVariables.Clear();
  theStatements.clear();
  // Innermost include first; the outermost frame holds the name of the file
  // that compilation started in.
  while (!theIncludes.empty()) {
    std::unique_ptr<IncludeFrame> frame = PopInclude();
    if (theIncludes.empty()) {
      std::memset(theGlobal.m_szFileName, 0, sizeof theGlobal.m_szFileName);
      std::memcpy(theGlobal.m_szFileName, frame->m_szFileName.data(),
                  std::min(frame->m_szFileName.size(), sizeof theGlobal.m_szFileName - 1));
    }
  }
  theStringResult.reset();
  theFrameBase = -1;
  theSpareFrames.clear();
  ReleaseVariablePool();
  ReleaseSpareTexts();
  ReleaseNodeArena();
}

void ResetRun() {
  Global& g = theGlobal;
  FreeAll();
  if (g.m_hScriptFile != nullptr && g.m_hScriptFile != plat::INVALID_HANDLE_VALUE) {
    plat::CloseHandle(g.m_hScriptFile);
  }
  g.m_hScriptFile = nullptr;
  g.m_pSourceFile.reset();
  ResetGlobal(g);
}

}  // namespace setup
