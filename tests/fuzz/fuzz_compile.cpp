// libFuzzer target: arbitrary bytes as a script for the compiler. Every input
// must compile or fail with a message, never crash, hang or leak.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/sim/machine.h"
#include "script/front/compile.h"

namespace {
constexpr const char* kScriptPath = "C:\\fuzz.cxx";
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  sim::SetStdoutSink([](const char*, std::size_t) {});  // reports are not of interest
  sim::SetEventSink([](const std::string&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!sim::PutFile(kScriptPath, std::string_view(reinterpret_cast<const char*>(data), size))) {
    return 0;
  }
  setup::CompileSession session(kScriptPath);
  if (session.Opened()) (void)session.Compile();
  return 0;
}
