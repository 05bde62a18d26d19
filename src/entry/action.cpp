// The exported entry point: one run of the packaged script per call.
//
//   command string -> parameters -> <script>.e (prelude + script)
//   -> CompileScript -> RunMain -> FreeAll + ResetGlobal -> main's number
#include "entry/action.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

#include "base/global.h"
#include "diag/report.h"
#include "platform/winapi.h"
#include "script/front/compile.h"
#include "script/interp/run.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

constexpr int kMaxParams = 100;  // slots; the 100th parameter is refused
constexpr std::size_t kPreludeLine = 256;
constexpr std::size_t kMaxParamLength = 252;  // what fits a prelude line
constexpr std::size_t kPasteBlock = 8192;

}  // namespace

// Anything outside a parameter is skipped.
SplitResult SplitParameters(const char* command, ParamTable& params) {
  const char* p = command;
  while (*p != '\0') {
    if (*p != '/') {
      ++p;
      continue;
    }
    const char* start = ++p;
    while (*p != '\0' && *p != ' ' && *p != '/') ++p;
    const auto length = static_cast<std::size_t>(p - start);
    if (length > kMaxParamLength) {
      PrintLine("parameter %d is longer than %d characters.", static_cast<int>(params.size() + 1),
                static_cast<int>(kMaxParamLength));
      return SplitResult::TooLong;
    }
    params.emplace_back(std::string(start, length));
    if (params.size() >= static_cast<std::size_t>(kMaxParams)) {
      PrintLine("too many in put parameters.");
      return SplitResult::TooMany;
    }
  }
  return SplitResult::Ok;
}

namespace {

bool WriteText(plat::TextFile& stream, const char* text, int length) {
  if (length < 0) return false;
  const auto size = std::min(static_cast<std::size_t>(length), kPreludeLine - 1);
  return stream.Write(text, size);
}

// The state of one Action call that clean-up releases.
struct RunState {
  ParamTable params;
  std::unique_ptr<plat::TextFile> expand;
};

// Releases everything a call made, whatever step it reached.
void CleanUp(RunState& state) {
  state.expand.reset();
  state.params.clear();
  ResetRun();
}

// Opens the script, writes the expanded file, compiles and runs it; `result`
// receives main's number. Sets `unopened` when the extracted script cannot be
// opened, the one failure that ends the call without clean-up.
void CompileAndRun(RunState& state, std::int32_t& result, bool& unopened) {
  theGlobal.m_hScriptFile =
      plat::CreateFileA(theGlobal.m_szFileName, plat::GENERIC_READ, plat::FILE_SHARE_READ, nullptr,
                        plat::OPEN_EXISTING, plat::FILE_ATTRIBUTE_NORMAL, nullptr);
  if (theGlobal.m_hScriptFile == plat::INVALID_HANDLE_VALUE) {
    theGlobal.m_hScriptFile = nullptr;
    unopened = true;
    return;
  }
  theGlobal.m_pSourceFile = plat::TextFile::Open(theGlobal.m_szFileName, "r");
  if (!theGlobal.m_pSourceFile) {
    ReportError("file %s not found.", theGlobal.m_szFileName);
    return;
  }
  if (!theGlobal.m_szExpandFile) MakeExpandFileName(&theGlobal.m_szExpandFile);
  if (!theGlobal.m_szExpandFile) return;
  const char* expandPath = theGlobal.m_szExpandFile->c_str();

  state.expand = plat::TextFile::Open(expandPath, "w+");
  if (!state.expand) {
    PrintLine("cannot create %s files.", expandPath);
    return;
  }
  const int count = static_cast<int>(state.params.size());
  if (count == 0) PrintLine("not any module parameters.");
  theGlobal.m_nPreludeLines = WriteParamPrelude(*state.expand, count, state.params.data());
  if (!PasteScriptCode(*state.expand)) {
    ReportError("cannot paste code.");
    return;
  }

  // The lexer reads the expanded file from its start.
  state.expand->Close();
  state.expand.reset();
  theGlobal.m_pSourceFile.reset();
  theGlobal.m_pSourceFile = plat::TextFile::Open(expandPath, "r");
  if (!theGlobal.m_pSourceFile) {
    ReportError("file %s not found.", expandPath);
    return;
  }
  state.params.clear();

  if (!CompileScript() || theGlobal.ErrorFlag) {
    PrintLine("\n\n");
    PrintLine("-----Compile failed.------");
    PrintLine("-----Error executing.------");
    PrintLine("\n\n");
    return;
  }
  PrintLine("\n");
  PrintLine("-----Compiled finished.-----");
  PrintLine("\n");
  if (RunMain(&result) == 1) {
    PrintLine("\n\n");
    PrintLine("-----The program executed finished!-----");
    PrintLine("");
    PrintLine("\n");
    PrintLine("Korvath Technology [Version 1.0.1]");
    PrintLine("\n\n");
  }
}

}  // namespace

int WriteParamPrelude(plat::TextFile& stream, int count, const std::optional<std::string>* params) {
  plat::SYSTEMTIME now{};
  plat::GetSystemTime(&now);
  char line[kPreludeLine];
  // The hour is written as UTC + 8 and not wrapped at 24.
  int length = std::snprintf(line, sizeof line, "///Generate By Halden.Ru.      [%d.%d.%d %d:%d]\n",
                             now.wYear, now.wMonth, now.wDay, now.wHour + 8, now.wMinute);
  WriteText(stream, line, length);
  length = std::snprintf(line, sizeof line, "num _Parameters_Num = %d \n", count);
  WriteText(stream, line, length);
  if (count < 1) return 2;

  length = std::snprintf(line, sizeof line, "string _Parameters[%d]={", count);
  WriteText(stream, line, length);
  for (int i = 0; i < count; ++i) {
    const char* text = params != nullptr && params[i] ? params[i]->c_str() : "";
    length = std::snprintf(line, sizeof line, "\"%s\",", text);
    WriteText(stream, line, length);
  }
  WriteText(stream, "}\n", 2);
  return 3;
}

int PasteScriptCode(plat::TextFile& stream) {
  plat::TextFile* source = theGlobal.m_pSourceFile.get();
  if (source == nullptr) return 0;
  std::vector<char> block(kPasteBlock);
  for (;;) {
    const std::size_t read = source->Read(block.data(), kPasteBlock);
    if (read == kPasteBlock) {
      if (!stream.Write(block.data(), read)) return 0;
      continue;
    }
    if (source->HasError() && !source->AtEnd()) {
      ReportError("read %s failed.", theGlobal.m_szFileName);
      theGlobal.ErrorFlag = 1;
      return 0;
    }
    return stream.Write(block.data(), read) ? 1 : 0;
  }
}

int MakeExpandFileName(std::optional<std::string>* slot) {
  if (slot == nullptr) return 0;
  if (!*slot) slot->emplace();
  **slot += theGlobal.m_szFileName;
  **slot += ".e";
  return 1;
}

}  // namespace setup

SETUP_EXPORT std::int32_t SETUP_STDCALL Action(const char* command) {
  using namespace setup;
  if (command == nullptr) return 0;
  // Deep scripts are measured against this frame.
  theGlobal.m_pStackBase = static_cast<const char*>(__builtin_frame_address(0));

  ResetRunLimits();
  std::int32_t result = -1;
  RunState state;
  bool unopened = false;
  try {
    if (SplitParameters(command, state.params) == SplitResult::Ok) {
      CompileAndRun(state, result, unopened);
    }
  } catch (const std::bad_alloc&) {
    // Memory ran out somewhere in the run: fail it like any other step.
    PrintLine("not enough memory.");
    result = -1;
  } catch (const std::length_error&) {
    PrintLine("not enough memory.");
    result = -1;
  }
  if (unopened) {
    // The script could not be opened: nothing was made, the state stays.
    theGlobal.m_pStackBase = nullptr;
    return 0;
  }
  CleanUp(state);
  return result;
}
