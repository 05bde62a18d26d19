// Compile-only runs of a loaded module's script.
#include "script_check.h"

#include <memory>

#include "base/global.h"
#include "entry/action.h"
#include "platform/textfile.h"
#include "script/front/compile.h"

namespace scriptcheck {

Outcome CompileForCommand(const std::string& command, std::string* problem) {
  const char* path = setup::theGlobal.m_szFileName;
  if (path == nullptr) {
    *problem = "the library extracted no script";
    return Outcome::NotPrepared;
  }
  std::string text;
  if (std::unique_ptr<plat::TextFile> in = plat::TextFile::Open(path, "r")) {
    char block[8192];
    std::size_t read = 0;
    while ((read = in->Read(block, sizeof block)) > 0) text.append(block, read);
  }
  // The library's own splitter, with its limits and messages.
  setup::ParamTable params;
  if (setup::SplitParameters(command.c_str(), params) != setup::SplitResult::Ok) {
    return Outcome::CommandRefused;
  }
  std::unique_ptr<plat::TextFile> out = plat::TextFile::Open(path, "w");
  bool written = false;
  if (out) {
    const int lines =
        setup::WriteParamPrelude(*out, static_cast<int>(params.size()), params.data());
    written = out->Write(text.data(), text.size()) && out->Close();
    setup::theGlobal.m_nPreludeLines = lines;
  }
  out.reset();
  // The copy is not needed while compiling (a large script would double the peak).
  std::string().swap(text);
  if (!written) {
    *problem = std::string("cannot rewrite '") + path + "' on the machine";
    return Outcome::NotPrepared;
  }
  return setup::CheckScriptFile(path) == 1 ? Outcome::Compiled : Outcome::NotCompiled;
}

}  // namespace scriptcheck
