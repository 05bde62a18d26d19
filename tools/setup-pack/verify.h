// setup-pack verify: checks a module file built for release.
#pragma once

#include <string>

namespace setuppack {

// Checks the module at `path`: a PE DLL exporting Action, followed by one
// well-formed package whose entries have valid, distinct names and exactly one
// script, which loads and compiles for `command`. Prints what it found on
// standard output and each problem on standard error. Answers the exit code.
int Verify(const std::string& path, const std::string& command);

}  // namespace setuppack
