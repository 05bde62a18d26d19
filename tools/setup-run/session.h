// One run of the library's life cycle on the simulated machine.
#pragma once

#include "options.h"

namespace setuprun {

// The Windows path under which the packaged library lies on the machine.
constexpr const char* kModulePath = "C:\\Program Files\\Setup\\Setup.dll";

// Packs, boots, loads, calls Action per command (or compiles only), unloads and
// shuts the machine down. Answers the exit code of setup-run.
int RunSession(const Options& options);

}  // namespace setuprun
