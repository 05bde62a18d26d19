// Running the tools from tests: a shell command line with both output
// streams captured.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace toolstest {

inline std::string ReadWhole(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

struct ShellRun {
  int status = -1;  // exit status, -1 when the command did not exit
  std::string out, err;
};

// Runs `command` with /bin/sh in `dir`.
inline ShellRun Shell(const std::string& command, const std::filesystem::path& dir) {
  char pattern[] = "/tmp/tools-test-XXXXXX";
  ShellRun run;
  if (mkdtemp(pattern) == nullptr) return run;
  const std::filesystem::path scratch = pattern;
  const std::string line = "cd '" + dir.string() + "' && (" + command + ") >'" +
                           (scratch / "out").string() + "' 2>'" + (scratch / "err").string() +
                           "' </dev/null";
  const int status = std::system(line.c_str());
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.out = ReadWhole(scratch / "out");
  run.err = ReadWhole(scratch / "err");
  std::filesystem::remove_all(scratch);
  return run;
}

}  // namespace toolstest
