// Runs setup-run (or any program) as a child process with a time limit.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

#include "golden.h"

namespace golden {

int TimeoutSeconds() {
  const char* value = std::getenv("SETUP_GOLDEN_TIMEOUT");
  int seconds = value != nullptr ? std::atoi(value) : 0;
  return seconds > 0 ? seconds : 120;
}

RunResult RunProcess(const std::vector<std::string>& args, const fs::path& dir) {
  RunResult result;
  char outName[] = "/tmp/golden-out-XXXXXX";
  char errName[] = "/tmp/golden-err-XXXXXX";
  int outFd = mkstemp(outName);
  int errFd = mkstemp(errName);
  if (outFd < 0 || errFd < 0) {
    result.failure = "cannot create temporary files";
    if (outFd >= 0) close(outFd), unlink(outName);
    if (errFd >= 0) close(errFd), unlink(errName);
    return result;
  }
  std::vector<char*> argv;
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);

  pid_t pid = fork();
  if (pid == 0) {
    int devNull = open("/dev/null", O_RDONLY);
    if (devNull >= 0) dup2(devNull, 0);
    dup2(outFd, 1);
    dup2(errFd, 2);
    if (chdir(dir.c_str()) != 0) _exit(126);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(outFd);
  close(errFd);
  if (pid < 0) {
    result.failure = "fork failed";
  } else {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(TimeoutSeconds());
    int status = 0;
    for (;;) {
      pid_t done = waitpid(pid, &status, WNOHANG);
      if (done == pid) break;
      if (std::chrono::steady_clock::now() > deadline) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        result.timedOut = true;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    if (!result.timedOut) {
      if (WIFEXITED(status)) {
        result.exitCode = WEXITSTATUS(status);
      } else if (WIFSIGNALED(status)) {
        result.failure = "killed by signal " + std::to_string(WTERMSIG(status));
      }
    }
  }
  ReadWhole(outName, &result.out);
  ReadWhole(errName, &result.err);
  unlink(outName);
  unlink(errName);
  return result;
}

std::vector<std::string> Results(const std::string& err) {
  std::vector<std::string> results;
  std::istringstream in(err);
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("Action returned ", 0) == 0) results.push_back(line.substr(16));
  }
  return results;
}

}  // namespace golden
