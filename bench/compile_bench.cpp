// Compile time of generated scripts of 1k, 10k and 100k lines: many globals,
// many functions calling each other. The time per line must stay flat.
#include <benchmark/benchmark.h>

#include <string>

#include "platform/sim/machine.h"
#include "script/front/compile.h"

namespace {

// About `lines` lines: half globals with initializers, half function bodies
// of ten lines that read those globals and call the previous function.
std::string MakeScript(int lines) {
  std::string text = "define STEP 2\ndefine ADD(a, b) a + b\n";
  const int globals = lines / 2;
  for (int i = 0; i < globals; ++i) {
    text += "num g" + std::to_string(i) + " = " + std::to_string(i) + "\n";
  }
  const int functions = (lines - globals) / 10;
  for (int f = 0; f < functions; ++f) {
    const std::string g = "g" + std::to_string((f * 7919) % (globals > 0 ? globals : 1));
    text += "num f" + std::to_string(f) + "(num n, string s) {\n";
    text += "  num local[4] = {1, 2, 3, 4}\n";
    text += "  num i = 0\n";
    text += "  while (i < n) { i += STEP }\n";
    text += "  if (" + g + " > ADD(i, 1)) { " + g + " = i } else { " + g + " -= 1 }\n";
    text += "  switch (s) { case \"a\": i = 1 default: { i = 2 } }\n";
    if (f > 0) {
      text += "  i = f" + std::to_string(f - 1) + "(n - 1, s + \"x\")\n";
    } else {
      text += "  i = getlen(s)\n";
    }
    text += "  s = numtostring(i)\n";
    text += "  return i + local[1]\n";
    text += "}\n";
  }
  return text;
}

void BM_CompileScript(benchmark::State& state) {
  const int lines = static_cast<int>(state.range(0));
  const char* path = "C:\\bench.cxx";
  sim::SetStdoutSink([](const char*, std::size_t) {});
  if (!sim::PutFile(path, MakeScript(lines))) {
    state.SkipWithError("cannot write the script");
    return;
  }
  for (auto _ : state) {
    setup::CompileSession session(path);
    if (session.Compile() != 1) state.SkipWithError("the script did not compile");
  }
  state.SetComplexityN(lines);
  state.counters["lines/s"] =
      benchmark::Counter(static_cast<double>(lines), benchmark::Counter::kIsIterationInvariantRate);
  sim::SetStdoutSink({});
}
BENCHMARK(BM_CompileScript)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

}  // namespace
