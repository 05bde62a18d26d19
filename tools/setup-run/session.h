// One run of the library's life cycle on the simulated machine.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "options.h"

namespace setuprun {

// The Windows path under which the packaged library lies on the machine.
constexpr const char* kModulePath = "C:\\Program Files\\Setup\\Setup.dll";

// The machine's state as a flat map: one entry per registry key and value,
// service and device field ("json:<path>"), and per file ("file:<path>").
using StateSnapshot = std::map<std::string, std::string>;

// Saves the running machine and reads its state directory.
bool SnapshotState(StateSnapshot* snapshot);
// The number of entries added, removed or changed between two snapshots.
int CountChanges(const StateSnapshot& before, const StateSnapshot& after);

// What a quiet run (one row of a matrix) found.
struct SessionReport {
  std::vector<int> results;  // Action's answer per command
  int messageBoxes = 0;
  bool restartRequested = false;
  bool loadRefused = false;
  StateSnapshot before, after;  // after the module was put in place; after the unload
};

// Packs, boots, loads, calls Action per command (or compiles only), unloads and
// shuts the machine down. Answers the exit code of setup-run. With a report,
// the library's output and the event log are not printed but summed up in it.
int RunSession(const Options& options, SessionReport* report = nullptr);

// Runs the commands on every profile of options.matrix, each from the same
// starting machine, and prints one row per profile. Answers the exit code.
int RunMatrix(const Options& options);

}  // namespace setuprun
