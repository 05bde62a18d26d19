// The whole-run cycle the Action fuzz target repeats for every input: reset
// the in-memory machine, install a module holding a small script, attach,
// Action twice, detach. Its rate bounds the fuzz target's inputs per second.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "common/package_writer.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"

namespace {

plat::HMODULE const kModule = reinterpret_cast<plat::HMODULE>(0x10000000);

void BM_MachineReset(benchmark::State& state) {
  std::string error;
  for (auto _ : state) {
    if (!sim::Reset({}, &error)) {
      state.SkipWithError(error.c_str());
      break;
    }
  }
  sim::Shutdown();
}

void BM_RunCycle(benchmark::State& state) {
  const std::string text =
      "num main() {\n  num i = 0\n  while (i < 10) {\n    i += 1\n  }\n"
      "  return i\n}\n";
  std::vector<char> module;
  std::string error;
  if (!setup::pack::AppendPackage(module, {{"small.cxx", {text.begin(), text.end()}}}, &error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  for (auto _ : state) {
    if (!sim::Reset({}, &error)) {
      state.SkipWithError(error.c_str());
      break;
    }
    sim::SetStdoutSink([](const char*, std::size_t) {});
    sim::SetEventSink([](const std::string&) {});
    if (sim::SetModule(kModule, "C:\\Program Files\\Setup\\Setup.dll", module) &&
        setup::DllMain(kModule, setup::kDllProcessAttach, nullptr)) {
      benchmark::DoNotOptimize(Action("/install"));
      benchmark::DoNotOptimize(Action(""));
      setup::DllMain(kModule, setup::kDllProcessDetach, nullptr);
    }
  }
  sim::Shutdown();
}

}  // namespace

BENCHMARK(BM_MachineReset)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RunCycle)->Unit(benchmark::kMicrosecond);
