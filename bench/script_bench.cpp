// In-process timings of the script language: each benchmark loads a library
// whose package holds one of bench/scripts/*.cxx and times Action calls
// (expand, compile, run main, clean up) on the simulated machine.
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "common/package_writer.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"

namespace {

plat::HMODULE const kModule = reinterpret_cast<plat::HMODULE>(0x10000000);

// Loads a library that carries bench/scripts/<name>.cxx; false on failure.
bool LoadScript(const std::string& name, benchmark::State& state) {
  std::ifstream in(std::string(SETUP_BENCH_DIR) + "/scripts/" + name + ".cxx", std::ios::binary);
  std::vector<char> script((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<char> module;
  std::string error;
  if (script.empty() || !setup::pack::AppendPackage(module, {{name + ".cxx", script}}, &error) ||
      !sim::Boot("", &error)) {
    state.SkipWithError(("cannot prepare " + name + ": " + error).c_str());
    return false;
  }
  sim::SetStdoutSink([](const char*, std::size_t) {});
  sim::SetEventSink([](const std::string&) {});
  if (!sim::SetModule(kModule, "C:\\Program Files\\Setup\\Setup.dll", module) ||
      !setup::DllMain(kModule, setup::kDllProcessAttach, nullptr)) {
    sim::Shutdown();
    state.SkipWithError(("the library refused to load " + name).c_str());
    return false;
  }
  return true;
}

void Unload() {
  setup::DllMain(kModule, setup::kDllProcessDetach, nullptr);
  sim::SetStdoutSink(nullptr);
  sim::SetEventSink(nullptr);
  sim::Shutdown();
}

// One Action call per iteration with the size as the parameter ("/N").
void RunScript(benchmark::State& state, const std::string& name) {
  if (!LoadScript(name, state)) return;
  const std::string command = "/" + std::to_string(state.range(0));
  for (auto _ : state) {
    std::int32_t result = Action(command.c_str());
    benchmark::DoNotOptimize(result);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  Unload();
}

void BM_ScriptFib(benchmark::State& state) {
  RunScript(state, "fib");
}
void BM_ScriptLoop(benchmark::State& state) {
  RunScript(state, "loop");
}
void BM_ScriptStrings(benchmark::State& state) {
  RunScript(state, "strings");
}
void BM_ScriptArrays(benchmark::State& state) {
  RunScript(state, "arrays");
}

void BM_ScriptSwitch(benchmark::State& state) {
  RunScript(state, "switch");
}
void BM_ScriptBuiltins(benchmark::State& state) {
  RunScript(state, "builtins");
}

// The installer shapes: string built-ins compared, an ID list split, string
// parameters and results, switches on a num and on a string, registry keys.
void BM_ScriptStrCall(benchmark::State& state) {
  RunScript(state, "strcall");
}
void BM_ScriptSplit(benchmark::State& state) {
  RunScript(state, "split");
}
void BM_ScriptPaths(benchmark::State& state) {
  RunScript(state, "paths");
}
void BM_ScriptSwitch4(benchmark::State& state) {
  RunScript(state, "switch4");
}
void BM_ScriptSwitchStr(benchmark::State& state) {
  RunScript(state, "switchstr");
}
void BM_ScriptKeys(benchmark::State& state) {
  RunScript(state, "keys");
}

BENCHMARK(BM_ScriptFib)->Arg(15)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptLoop)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptStrings)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptArrays)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptSwitch)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptBuiltins)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptStrCall)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptSplit)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptPaths)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptSwitch4)->Arg(30000)->Arg(300000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptSwitchStr)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScriptKeys)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
