// Loading a large machine state: boots a machine whose machine.json holds N
// devices, N registry values in one key or N subkeys of one key, and shuts
// it down again (which saves the state). The time per item should stay flat
// from 10k to 100k: loading is linear in the size of the state.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/sim/machine.h"

namespace {

namespace fs = std::filesystem;

enum class Content { Devices, Values, Keys };

std::string StateText(Content content, long count) {
  std::string text = "{\"profile\": {\"majorVersion\": 5}, ";
  if (content == Content::Devices) {
    text += "\"devices\": [";
    for (long i = 0; i < count; ++i) {
      if (i > 0) text += ", ";
      text += "{\"instanceId\": \"ROOT\\\\NET\\\\" + std::to_string(i) +
              "\", \"hardwareIds\": [\"*PNP" + std::to_string(i) +
              "\"], \"className\": \"Net\", \"classGuid\": "
              "\"{4D36E972-E325-11CE-BFC1-08002BE10318}\"}";
    }
    return text + "]}";
  }
  text += "\"registry\": {\"HKEY_LOCAL_MACHINE\": {\"name\": \"HKEY_LOCAL_MACHINE\", ";
  if (content == Content::Values) {
    text += "\"values\": [";
    for (long i = 0; i < count; ++i) {
      if (i > 0) text += ", ";
      text += "{\"name\": \"Value" + std::to_string(i) + "\", \"type\": 4, \"data\": \"01000000\"}";
    }
    return text + "]}}}";
  }
  text += "\"keys\": [";
  for (long i = 0; i < count; ++i) {
    if (i > 0) text += ", ";
    text += "{\"name\": \"Key" + std::to_string(count - i) + "\"}";
  }
  return text + "]}}}";
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
