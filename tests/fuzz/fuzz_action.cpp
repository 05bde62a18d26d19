// libFuzzer target: arbitrary bytes as the packaged script, run through the
// library's whole life cycle on a fresh simulated machine: attach, Action with
// parameters, Action without, detach. Endless loops are cut by the step
// budget; sleeps, programs, message boxes and restarts are only simulated.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/global.h"
#include "common/package_writer.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"

namespace {

plat::HMODULE const kModule = reinterpret_cast<plat::HMODULE>(0x10000000);
constexpr std::uint32_t kStepBudget = 50000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<char> script(data, data + size);
  std::vector<char> module;
  std::string error;
  if (!setup::pack::AppendPackage(module, {{"fuzz.cxx", script}}, &error)) return 0;
  if (!sim::Boot("", &error)) __builtin_trap();  // the machine itself must always boot

  sim::SetStdoutSink([](const char*, std::size_t) {});
  sim::SetEventSink([](const std::string&) {});
  sim::SetFastSleep(true);
  setup::theGlobal.m_nStepLimit = kStepBudget;

  if (sim::SetModule(kModule, "C:\\Program Files\\Setup\\Setup.dll", module) &&
      setup::DllMain(kModule, setup::kDllProcessAttach, nullptr)) {
    Action("/install /silent");
    Action("");
    setup::DllMain(kModule, setup::kDllProcessDetach, nullptr);
  }
  sim::Shutdown();
  return 0;
}
