// setup-run --matrix: the same commands on several Windows profiles.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "session.h"

namespace setuprun {

namespace {

namespace fs = std::filesystem;

void Row(const std::string& profile, const std::string& results, const std::string& boxes,
         const std::string& restart, const std::string& changes, const std::string& verdict) {
  char line[512];
  std::snprintf(line, sizeof line, "%-8s %-12s %-9s %-8s %-8s %s", profile.c_str(), results.c_str(),
                boxes.c_str(), restart.c_str(), changes.c_str(), verdict.c_str());
  std::string text = line;
  text.erase(text.find_last_not_of(' ') + 1);
  std::printf("%s\n", text.c_str());
}

}  // namespace

int RunMatrix(const Options& options) {
  std::error_code ec;
  const fs::path work =
      fs::temp_directory_path(ec) / ("setup-run-matrix-" + std::to_string(getpid()));
  fs::remove_all(work, ec);
  if (!fs::create_directories(work, ec)) {
    std::fprintf(stderr, "setup-run: --matrix: cannot create '%s'\n", work.string().c_str());
    return kExitMachine;
  }

  Row("profile", "results", "msgboxes", "restart", "changes", "");
  std::vector<int> first;
  bool differs = false;
  int status = kExitOk;
  for (const WindowsProfile* profile : options.matrix) {
    // Every profile starts from the same machine: a copy of --machine, or a fresh one.
    const fs::path machine = work / profile->name;
    if (!options.machineDir.empty()) {
      fs::copy(options.machineDir, machine, fs::copy_options::recursive, ec);
      if (ec) {
        std::fprintf(stderr, "setup-run: --matrix: cannot copy '%s'\n", options.machineDir.c_str());
        status = kExitMachine;
        break;
      }
    }
    Options run = options;
    run.matrix.clear();
    run.profile = profile;
    // --wow64 means the 32-bit DLL: on a 32-bit profile it runs natively.
    run.wow64 = options.wow64 && profile->amd64;
    run.machineDir = machine.string();
    SessionReport report;
    const int code = RunSession(run, &report);
    if (code != kExitOk && code != kExitLoadFailed) {
      status = code;
      break;
    }

    std::string results;
    for (int result : report.results)
      results += (results.empty() ? "" : ",") + std::to_string(result);
    if (report.loadRefused) results = "refused";
    bool rowDiffers = false;
    if (options.expect) {
      rowDiffers = report.loadRefused;
      for (int result : report.results) rowDiffers = rowDiffers || result != *options.expect;
    } else if (profile == options.matrix.front()) {
      first = report.results;
    } else {
      rowDiffers = report.loadRefused || report.results != first;
    }
    differs = differs || rowDiffers;
    Row(profile->name, results, std::to_string(report.messageBoxes),
        report.restartRequested ? "yes" : "no",
        report.loadRefused ? "-" : std::to_string(report.changes), rowDiffers ? "DIFFERS" : "");
    if (!report.wow64Warnings.empty()) {
      std::fflush(stdout);
      for (const std::string& warning : report.wow64Warnings) {
        std::fprintf(stderr, "setup-run: warning: %s: %s\n", profile->name, warning.c_str());
      }
      std::fflush(stderr);
    }
  }
  std::fflush(stdout);
  fs::remove_all(work, ec);
  if (status != kExitOk) return status;
  return differs ? kExitMatrix : kExitOk;
}

}  // namespace setuprun
