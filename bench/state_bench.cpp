// Loading a large machine state: boots a machine whose machine.json holds N
// devices, N registry values in one key or N subkeys of one key, and shuts
// it down again (which saves the state). The time per item should stay flat
// from 10k to 100k: loading is linear in the size of the state.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>

#include "platform/sim/machine.h"

namespace {

namespace fs = std::filesystem;

enum class Content { Devices, Values, Keys };

// The keys of a path below HKEY_LOCAL_MACHINE, `inner` placed in the last.
std::string Nest(std::initializer_list<const char*> path, const std::string& inner) {
  std::string open;
  std::string close;
  for (const char* name : path) {
    open += "\"keys\": [{\"name\": \"" + std::string(name) + "\", ";
    close = "}]" + close;
  }
  return open + inner + close;
}

std::string StateText(Content content, long count) {
  std::string items;
  for (long i = 0; i < count; ++i) {
    if (i > 0) items += ", ";
    const std::string n = std::to_string(i);
    switch (content) {
      case Content::Devices:  // device records: Enum\ROOT\NET\<n>, as the device manager keeps them
        items += "{\"name\": \"" + n +
                 "\", \"values\": [{\"name\": \"HardwareID\", \"type\": 7, \"data\": \"2a00\"}, "
                 "{\"name\": \"ClassGUID\", \"type\": 1, \"data\": \"7b7d00\"}]}";
        break;
      case Content::Values:
        items += "{\"name\": \"Value" + n + "\", \"type\": 4, \"data\": \"01000000\"}";
        break;
      case Content::Keys:
        items += "{\"name\": \"Key" + std::to_string(count - i) + "\"}";
        break;
    }
  }
  std::string root;
  if (content == Content::Devices) {
    root =
        Nest({"SYSTEM", "CurrentControlSet", "Enum", "ROOT", "NET"}, "\"keys\": [" + items + "]");
  } else {
    root = (content == Content::Values ? "\"values\": [" : "\"keys\": [") + items + "]";
  }
  return "{\"profile\": {\"majorVersion\": 5}, \"registry\": {\"HKEY_LOCAL_MACHINE\": {\"name\": "
         "\"HKEY_LOCAL_MACHINE\", " +
         root + "}}}";
}

void BootState(benchmark::State& state, Content content) {
  const fs::path dir = fs::temp_directory_path() / ("state-bench-" + std::to_string(::getpid()));
  const std::string text = StateText(content, state.range(0));
  fs::create_directories(dir);
  std::string error;
  for (auto _ : state) {
    state.PauseTiming();
    {
      std::ofstream out(dir / "machine.json", std::ios::binary | std::ios::trunc);
      out << text;
    }
    state.ResumeTiming();
    if (!sim::Boot(dir.string(), &error)) {
      state.SkipWithError(error.c_str());
      break;
    }
    sim::Shutdown();
  }
  std::error_code ec;
  fs::remove_all(dir, ec);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_StateDevices(benchmark::State& state) {
  BootState(state, Content::Devices);
}
void BM_StateRegistryValues(benchmark::State& state) {
  BootState(state, Content::Values);
}
void BM_StateRegistryKeys(benchmark::State& state) {
  BootState(state, Content::Keys);
}

}  // namespace

BENCHMARK(BM_StateDevices)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StateRegistryValues)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StateRegistryKeys)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
