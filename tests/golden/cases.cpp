// The golden cases: finding them and reading their .cmd files.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <system_error>

#include "golden.h"

namespace golden {

bool UpdateRequested() {
  const char* value = std::getenv("SETUP_GOLDEN_UPDATE");
  return value != nullptr && *value != '\0' && std::string(value) != "0";
}

void PrintTo(const GoldenCase& test, std::ostream* out) {
  *out << test.script.lexically_relative(SETUP_GOLDEN_DIR).generic_string();
}

std::vector<GoldenCase> FindCases() {
  std::vector<GoldenCase> cases;
  const fs::path root = SETUP_GOLDEN_DIR;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(root, ec); !ec && it != fs::end(it);
       it.increment(ec)) {
    const fs::path& path = it->path();
    if (it->is_directory()) {
      std::string folder = path.filename().string();
      if (folder == "include" || folder == "data") it.disable_recursion_pending();
      continue;
    }
    if (path.extension() != ".cxx") continue;
    std::string name = path.lexically_relative(root).replace_extension().generic_string();
    for (char& c : name) {
      if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    }
    cases.push_back({name, path});
  }
  std::sort(cases.begin(), cases.end(),
            [](const GoldenCase& x, const GoldenCase& y) { return x.name < y.name; });
  return cases;
}

std::vector<std::string> CaseArguments(const GoldenCase& test) {
  fs::path base = test.script;
  base.replace_extension();
  const fs::path cmdPath = base.string() + ".cmd";

  std::vector<std::string> args = {SETUP_RUN_PATH, "--fixed-time"};
  std::vector<std::string> commands;
  std::string cmdText;
  if (ReadWhole(cmdPath, &cmdText)) {
    bool open = false;
    std::vector<std::string> lines = SplitLines(cmdText, &open);
    for (std::string& line : lines) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
    }
    if (!lines.empty()) {
      for (const std::string& word : SplitOptions(lines[0])) args.push_back(word);
    }
    for (std::size_t i = 1; i < lines.size(); ++i) {
      if (!lines[i].empty() && lines[i][0] == '#') continue;
      commands.push_back(lines[i]);
    }
  }
  // With --module the case's .cxx only names the case; the module is run.
  args.push_back("--");
  if (std::find(args.begin(), args.end(), "--module") == args.end()) {
    args.push_back(test.script.filename().string());
  }
  for (const std::string& command : commands) args.push_back(command);
  return args;
}

std::vector<std::string> SplitOptions(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  bool quoted = false;
  for (char c : line) {
    if (c == '"') {
      quoted = !quoted;
      inWord = true;
    } else if (!quoted && (c == ' ' || c == '\t')) {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

int TakeExitLine(std::string* err) {
  std::string body = *err;
  if (!body.empty() && body.back() == '\n') body.pop_back();
  std::size_t start = body.rfind('\n');
  start = start == std::string::npos ? 0 : start + 1;
  std::string last = body.substr(start);
  if (last.size() < 6 || last.compare(0, 5, "exit ") != 0) return -1;
  if (last.find_first_not_of("0123456789", 5) != std::string::npos) return -1;
  int code = std::atoi(last.c_str() + 5);
  err->erase(start);
  return code;
}

}  // namespace golden
