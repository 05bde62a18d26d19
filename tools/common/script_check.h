// Compiling a loaded module's script for one command without running it, the
// way Action compiles it: shared by setup-run --check and setup-pack verify.
#pragma once

#include <string>

namespace scriptcheck {

// Puts the parameter prelude of `command` in front of the script the library
// extracted at load (in the script's own file, so that reports name the same
// file and count lines of the script as packaged), then compiles it through
// the library's compile session, printing the library's own closing lines.
// Answers 1 when the script compiled. When the script could not be prepared,
// `problem` says why (a command the library refuses is reported by the library
// itself and leaves `problem` empty).
int CompileForCommand(const std::string& command, std::string* problem);

}  // namespace scriptcheck
