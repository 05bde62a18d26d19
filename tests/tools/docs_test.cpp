// The documentation runs: every example of docs/language.md, the README's
// commands, and the built-in signatures the reference gives against the
// library's own table (setup-run --list-builtins).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "shell.h"

namespace {

namespace fs = std::filesystem;

using toolstest::ReadWhole;
using toolstest::Shell;
using toolstest::ShellRun;

const fs::path kRoot = SETUP_SOURCE_DIR;
const fs::path kBin = fs::path(SETUP_RUN_PATH).parent_path();

// The fenced blocks of a Markdown text with the given info string ("" = any).
std::vector<std::string> Blocks(const std::string& text, const std::string& info) {
  std::vector<std::string> blocks;
  std::istringstream in(text);
  std::string line, block;
  bool inside = false, wanted = false;
  while (std::getline(in, line)) {
    if (line.rfind("```", 0) == 0) {
      if (inside) {
        if (wanted) blocks.push_back(block);
        inside = false;
      } else {
        inside = true;
        wanted = info.empty() || line.substr(3) == info;
        block.clear();
      }
      continue;
    }
    if (inside) block += line + "\n";
  }
  return blocks;
}

struct Example {
  std::string script;
  int expected = 0;
  std::vector<std::string> outputs;
};

std::vector<Example> LanguageExamples() {
  std::vector<Example> examples;
  for (const std::string& block : Blocks(ReadWhole(kRoot / "docs" / "language.md"), "cxx")) {
    std::smatch match;
    if (!std::regex_search(block, match, std::regex("^// => (-?[0-9]+)\n"))) continue;
    Example example;
    example.script = block;
    example.expected = std::stoi(match[1]);
    std::istringstream lines(block);
    std::string line;
    while (std::getline(lines, line)) {
      if (line.rfind("// out: ", 0) == 0) example.outputs.push_back(line.substr(8));
    }
    examples.push_back(example);
  }
  return examples;
}

TEST(LanguageReference, EveryExampleRunsAsDocumented) {
  const std::vector<Example> examples = LanguageExamples();
  ASSERT_GE(examples.size(), 10u) << "the reference lost its examples";
  char pattern[] = "/tmp/docs-examples-XXXXXX";
  ASSERT_NE(mkdtemp(pattern), nullptr);
  const fs::path dir = pattern;
  for (std::size_t i = 0; i < examples.size(); ++i) {
    const std::string name = "example" + std::to_string(i + 1) + ".cxx";
    std::ofstream(dir / name, std::ios::binary) << examples[i].script;
    const ShellRun run =
        Shell("'" + std::string(SETUP_RUN_PATH) + "' --fast-sleep " + name + " /install", dir);
    EXPECT_EQ(run.status, 0) << name << "\n" << run.err;
    EXPECT_NE(run.err.find("Action returned " + std::to_string(examples[i].expected) + "\n"),
              std::string::npos)
        << name << ":\n"
        << examples[i].script << "\nstdout:" << run.out << "\nstderr:\n"
        << run.err;
    for (const std::string& text : examples[i].outputs) {
      EXPECT_NE(run.out.find(text), std::string::npos) << name << ": no '" << text << "' in\n"
                                                       << run.out;
    }
  }
  fs::remove_all(dir);
}

// "num getat(string s, num i)" -> "num getat(string, num)"
std::string TypesOnly(const std::string& signature) {
  return std::regex_replace(signature, std::regex(" [A-Za-z_][A-Za-z0-9_]*([,)])"), "$1");
}

TEST(LanguageReference, BuiltinSignaturesMatchTheLibrary) {
  const ShellRun list = Shell("'" + std::string(SETUP_RUN_PATH) + "' --list-builtins", kRoot);
  ASSERT_EQ(list.status, 0) << list.err;
  std::map<std::string, std::string> documented;
  const std::string text = ReadWhole(kRoot / "docs" / "language.md");
  const std::regex signature("`((num|string) ([a-z]+)\\([^)]*\\))`");
  for (auto it = std::sregex_iterator(text.begin(), text.end(), signature);
       it != std::sregex_iterator(); ++it) {
    documented[(*it)[3]] = TypesOnly((*it)[1]);
  }
  std::istringstream lines(list.out);
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    ++count;
    const std::string name = line.substr(line.find(' ') + 1, line.find('(') - line.find(' ') - 1);
    auto it = documented.find(name);
    if (it == documented.end()) {
      ADD_FAILURE() << "docs/language.md does not describe " << line;
      continue;
    }
    EXPECT_EQ(it->second, line);
  }
  EXPECT_EQ(count, 40);
}

TEST(Readme, EveryToolCommandWorksAsWritten) {
  // The README's commands name the tools as build/host/...; run them from the
  // source root with this build's tools in that place.
  const std::string text = ReadWhole(kRoot / "README.md");
  int commands = 0;
  for (const std::string& block : Blocks(text, "")) {
    std::istringstream lines(block);
    std::string line;
    while (std::getline(lines, line)) {
      if (line.rfind("build/host/setup-run ", 0) != 0 &&
          line.rfind("build/host/setup-pack ", 0) != 0) {
        continue;
      }
      const std::string command = line.substr(0, line.find("  #"));
      const std::string shell =
          std::regex_replace(command, std::regex("build/host/"), kBin.string() + "/");
      // A command documented to fail says so: "  # exits N: why".
      int expected = 0;
      std::smatch exits;
      if (std::regex_search(line, exits, std::regex("  # exits ([0-9]+)"))) {
        expected = std::stoi(exits[1]);
      }
      const ShellRun run = Shell(shell, kRoot);
      EXPECT_EQ(run.status, expected) << command << "\nstdout:\n"
                                      << run.out << "\nstderr:\n"
                                      << run.err;
      ++commands;
    }
  }
  EXPECT_GE(commands, 5);
}

}  // namespace
