// One run of the library's life cycle on the simulated machine.
#pragma once

#include <string>
#include <vector>

#include "common/snapshot.h"
#include "options.h"

namespace setuprun {

// The Windows path under which the packaged library lies on the machine.
constexpr const char* kModulePath = "C:\\Program Files\\Setup\\Setup.dll";

// What a quiet run (one row of a matrix) found.
struct SessionReport {
  std::vector<int> results;  // Action's answer per command
  int messageBoxes = 0;
  bool restartRequested = false;
  bool loadRefused = false;
  // The changes from the module's arrival on the machine to the unload,
  // counted as the --diff change set lists them.
  int changes = 0;
  // With the 32-bit DLL on a 64-bit profile: why the run cannot work as on a
  // 32-bit machine (files below SysWOW64\drivers, services whose image is not
  // where 64-bit Windows looks), one sentence each.
  std::vector<std::string> wow64Warnings;
};

// Packs, boots, loads, calls Action per command (or compiles only), unloads and
// shuts the machine down. Answers the exit code of setup-run. With a report,
// the library's output and the event log are not printed but summed up in it.
int RunSession(const Options& options, SessionReport* report = nullptr);

// The warnings of a run of the 32-bit DLL on a 64-bit profile (see
// SessionReport::wow64Warnings): from the files it wrote between `before`
// and `after` and the service starts the running machine recorded.
std::vector<std::string> Wow64Warnings(const snapshot::Snapshot& before,
                                       const snapshot::Snapshot& after);

// Runs the commands on every profile of options.matrix, each from the same
// starting machine, and prints one row per profile. Answers the exit code.
int RunMatrix(const Options& options);

}  // namespace setuprun
