// setup-run --matrix: the same commands on several Windows profiles.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/sim/machine.h"
#include "session.h"

namespace setuprun {

namespace {

namespace fs = std::filesystem;

// Flattens a JSON document into "json:<path>" leaves.
void Flatten(const nlohmann::json& value, const std::string& path, StateSnapshot* out) {
  if (value.is_object()) {
    for (auto it = value.begin(); it != value.end(); ++it) {
      Flatten(it.value(), path + "/" + it.key(), out);
    }
    if (value.empty()) (*out)["json:" + path] = "{}";
  } else if (value.is_array()) {
    for (std::size_t i = 0; i < value.size(); ++i) {
      // Array elements are named by their own "name"/"instanceId" when they have one,
      // so that an insertion does not renumber every later element.
      std::string key = std::to_string(i);
      const nlohmann::json& item = value[i];
      for (const char* id : {"instanceId", "name", "path"}) {
        if (item.is_object() && item.contains(id) && item[id].is_string()) {
          key = item[id].get<std::string>();
          break;
        }
      }
      Flatten(item, path + "/" + key, out);
    }
    if (value.empty()) (*out)["json:" + path] = "[]";
  } else {
    (*out)["json:" + path] = value.dump();
  }
}

bool ReadWhole(const fs::path& path, std::string* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

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

bool SnapshotState(StateSnapshot* snapshot) {
  snapshot->clear();
  // The state as machine.json would hold it (a temporary machine writes none).
  const fs::path dir = sim::StateDir();
  std::string text = sim::StateText();
  nlohmann::json state = nlohmann::json::parse(text, nullptr, false);
  if (state.is_discarded()) return false;
  // Files are compared by their bytes below; restarts have their own column.
  state.erase("files");
  state.erase("restartRequests");
  state.erase("restartPending");
  Flatten(state, "", snapshot);
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(dir / "fs", ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    const std::string relative = fs::relative(it->path(), dir / "fs", ec).generic_string();
    if (it->is_directory(ec)) {
      (*snapshot)["dir:" + relative] = "";
    } else if (ReadWhole(it->path(), &text)) {
      (*snapshot)["file:" + relative] = text;
    }
  }
  return true;
}

int CountChanges(const StateSnapshot& before, const StateSnapshot& after) {
  int changes = 0;
  for (const auto& [key, value] : before) {
    auto it = after.find(key);
    changes += it == after.end() || it->second != value;
  }
  for (const auto& [key, value] : after) changes += before.find(key) == before.end();
  return changes;
}

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
        report.loadRefused ? "-" : std::to_string(CountChanges(report.before, report.after)),
        rowDiffers ? "DIFFERS" : "");
  }
  std::fflush(stdout);
  fs::remove_all(work, ec);
  if (status != kExitOk) return status;
  return differs ? kExitMatrix : kExitOk;
}

}  // namespace setuprun
