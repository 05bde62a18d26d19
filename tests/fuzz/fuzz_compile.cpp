// libFuzzer target: arbitrary bytes as a script for the compiler. Every input
// must compile or fail with a message, never crash, hang or leak.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "entry/action.h"
#include "base/global.h"
#include "platform/sim/machine.h"
#include "platform/textfile.h"
#include "script/front/lexer.h"
#include "script/store/symbols.h"

namespace {
constexpr const char* kScriptPath = "C:\\fuzz.cxx";
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  sim::SetStdoutSink([](const char*, std::size_t) {});  // reports are not of interest
  sim::SetEventSink([](const std::string&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using setup::theGlobal;
  if (!sim::PutFile(kScriptPath, std::string_view(reinterpret_cast<const char*>(data), size))) {
    return 0;
  }
  theGlobal.m_pSourceFile = plat::TextFile::Open(kScriptPath, "r");
  if (!theGlobal.m_pSourceFile) return 0;
  setup::front::ResetReader();
  theGlobal.m_pStackBase = static_cast<const char*>(__builtin_frame_address(0));
  (void)setup::CompileScript();
  setup::FreeAll();
  if (theGlobal.m_pSourceFile) theGlobal.m_pSourceFile->Close();
  setup::ResetGlobal(theGlobal);
  return 0;
}
