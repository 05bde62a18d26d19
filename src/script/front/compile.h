// Compile-only entry for tools and tests.
#pragma once

namespace setup {

// Compiles the script file at `path` (a path of the platform layer) exactly as
// the run sequence compiles the expanded script, prints the same closing lines
// for success or failure, then releases everything (FreeAll, ResetGlobal).
// Answers 1 when the script compiled.
[[nodiscard]] int CheckScriptFile(const char* path);

}  // namespace setup
