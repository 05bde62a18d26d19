// The example installation script, run with /install and then /uninstall on
// one simulated machine, leaves the machine as it was: the same registry, the
// same services, the same files with the same contents.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path kExample = fs::path(SETUP_EXAMPLE_DIR);

// Runs setup-run on the machine in `machine` with the example's files; the
// library's output goes to `machine`/stdout.
int RunExample(const fs::path& machine, const std::string& command) {
  std::string line = std::string("\"") + SETUP_RUN_PATH +
                     "\" --fixed-time --fast-sleep --machine \"" + machine.string() + "\"";
  for (const char* file : {"acmelog.inf", "acmelog.sys", "acmelog.cat", "acmemon.sys"}) {
    line += " --add \"" + (kExample / file).string() + "\"";
  }
  line += " \"" + (kExample / "install.cxx").string() + "\" \"" + command + "\" >\"" +
          (machine / "stdout").string() + "\" 2>/dev/null";
  return std::system(line.c_str());
}

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// One line per key and per value: "ROOT\KEY" or "ROOT\KEY|name|type|data".
void Flatten(const nlohmann::json& key, const std::string& path,
             std::map<std::string, std::string>* out) {
  (*out)[path] = "<key>";
  for (const nlohmann::json& value : key.value("values", nlohmann::json::array())) {
    (*out)[path + "|" + value.value("name", "")] =
        std::to_string(value.value("type", 0)) + "|" + value.value("data", "");
  }
  for (const nlohmann::json& child : key.value("keys", nlohmann::json::array())) {
    Flatten(child, path + "\\" + child.value("name", ""), out);
  }
}

// Everything the machine keeps, but the counters of the runs themselves.
struct State {
  nlohmann::json machine;
  std::map<std::string, std::string> registry;  // flattened keys and values
  std::map<std::string, std::string> files;  // path below fs/ -> content ("<dir>" for directories)
};

State Capture(const fs::path& dir) {
  State state;
  state.machine = nlohmann::json::parse(ReadAll(dir / "machine.json"));
  for (auto& [root, tree] : state.machine["registry"].items()) Flatten(tree, root, &state.registry);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir / "fs")) {
    std::string key = fs::relative(entry.path(), dir / "fs").generic_string();
    state.files[key] = entry.is_directory() ? "<dir>" : ReadAll(entry.path());
  }
  return state;
}

// Reports every entry added, changed or removed between two captures.
void ExpectSame(const char* what, const std::map<std::string, std::string>& before,
                const std::map<std::string, std::string>& after) {
  for (const auto& [name, content] : after) {
    auto it = before.find(name);
    if (it == before.end()) {
      ADD_FAILURE() << what << " left behind: " << name;
    } else if (it->second != content) {
      ADD_FAILURE() << what << " changed: " << name;
    }
  }
  for (const auto& [name, content] : before) {
    if (!after.count(name)) ADD_FAILURE() << what << " removed: " << name;
  }
}

TEST(ExampleRoundTrip, InstallThenUninstallLeavesTheMachineAsItWas) {
  const fs::path dir =
      fs::temp_directory_path() / ("example-roundtrip-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  // A first run that changes nothing (usage box) creates the machine and its module file.
  ASSERT_EQ(RunExample(dir, "/help"), 0);
  State before = Capture(dir);
  ASSERT_EQ(RunExample(dir, "/install /silent"), 0);
  State installed = Capture(dir);
  EXPECT_NE(installed.registry, before.registry) << "nothing was installed";
  EXPECT_NE(installed.files, before.files) << "no file was installed";
  ASSERT_EQ(RunExample(dir, "/uninstall /silent"), 0);
  State after = Capture(dir);

  ExpectSame("registry", before.registry, after.registry);
  ExpectSame("file", before.files, after.files);
  EXPECT_EQ(after.machine["scm"], before.machine["scm"]);
  EXPECT_EQ(after.machine["devices"], before.machine["devices"]);
  EXPECT_EQ(after.machine["attributes"], before.machine["attributes"]);
  fs::remove_all(dir);
}

}  // namespace
