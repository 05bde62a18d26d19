// Runs a packaged script in-process on a fresh in-memory simulated machine, as
// an installer would (attach, Action calls, detach), and records what the run
// shows. Used to run one script both ways: with the fast paths (no step
// budget) and on the tree walk only (a step budget too large to reach). The
// pass budget bounds both runs alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/global.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"
#include "platform/winapi.h"

namespace twoways {

inline plat::HMODULE const kModule = reinterpret_cast<plat::HMODULE>(0x10000000);
// A step budget no run reaches: the evaluator takes the tree walk only.
constexpr std::uint32_t kUnreachableSteps = 0xFFFFFFFFu;

// What one run shows: the standard output with the machine's events among
// it, in order, and Action's results.
struct RunTrace {
  std::string out;
  std::vector<int> results;
  bool machineFailed = false;  // the machine did not start (not the script's doing)
};

// Runs `module` (a module file with a package appended) on a fresh temporary
// machine: `shape` adjusts the machine before the library loads, then one
// Action call per command. The step and pass budgets apply to every call.
inline RunTrace RunPackaged(const std::vector<char>& module,
                            const std::vector<std::string>& commands, std::uint32_t stepLimit,
                            std::uint32_t passLimit, const std::function<void()>& shape = {}) {
  RunTrace trace;
  std::string error;
  if (!sim::Reset({}, &error)) {
    trace.machineFailed = true;
    trace.out = error;
    return trace;
  }
  sim::SetStdoutSink(
      [&trace](const char* text, std::size_t size) { trace.out.append(text, size); });
  sim::SetEventSink([&trace](const std::string& event) { trace.out += event + "\n"; });
  sim::SetFastSleep(true);
  sim::SetFixedTime(plat::SYSTEMTIME{2024, 1, 1, 1, 0, 0, 0, 0});
  if (shape) shape();
  setup::theGlobal.m_nStepLimit = stepLimit;
  setup::theGlobal.m_nPassLimit = passLimit;
  if (sim::SetModule(kModule, "C:\\Program Files\\Setup\\Setup.dll", module) &&
      setup::DllMain(kModule, setup::kDllProcessAttach, nullptr)) {
    for (const std::string& command : commands) trace.results.push_back(Action(command.c_str()));
    setup::DllMain(kModule, setup::kDllProcessDetach, nullptr);
  }
  sim::SetStdoutSink([](const char*, std::size_t) {});
  sim::SetEventSink([](const std::string&) {});
  setup::theGlobal.m_nStepLimit = 0;
  setup::theGlobal.m_nPassLimit = 0;
  return trace;
}

// The host stack runs short at a depth that depends on the evaluation path's
// frames, so runs that reach it may differ and are not compared.
inline bool Comparable(const RunTrace& fast, const RunTrace& walk) {
  return fast.out.find("call stack overflow") == std::string::npos &&
         walk.out.find("call stack overflow") == std::string::npos;
}

inline bool Agree(const RunTrace& fast, const RunTrace& walk) {
  return fast.out == walk.out && fast.results == walk.results;
}

}  // namespace twoways
