// Compiling a loaded module's script for one command without running it, the
// way Action compiles it: shared by setup-run --check and setup-pack verify.
#pragma once

#include <string>

namespace scriptcheck {

enum class Outcome {
  Compiled,        // the script compiled
  NotCompiled,     // the compiler reported an error (the library printed it)
  CommandRefused,  // the library's splitter refused the command (and printed why)
  NotPrepared,     // the script could not be rewritten with the prelude
};

// Puts the parameter prelude of `command` in front of the script the library
// extracted at load (in the script's own file, so that reports name the same
// file and count lines of the script as packaged), then compiles it through
// the library's compile session, printing the library's own closing lines.
// `problem` says why for NotPrepared.
Outcome CompileForCommand(const std::string& command, std::string* problem);

}  // namespace scriptcheck
