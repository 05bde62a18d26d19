// Golden script cases: every tests/golden/**/<name>.cxx runs through setup-run
// and its standard output (and standard error, when <name>.err exists) must
// match the files beside it byte for byte. The format is described in
// tests/golden/README.md. A second test checks that every message of the
// system appears in some expected output.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

// ---- Small helpers ---------------------------------------------------------

bool ReadWhole(const fs::path& path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *text = buffer.str();
  return true;
}

bool WriteWhole(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  return static_cast<bool>(out);
}

bool UpdateRequested() {
  const char* value = std::getenv("SETUP_GOLDEN_UPDATE");
  return value != nullptr && *value != '\0' && std::string(value) != "0";
}

// Splits the text into lines without their "\n"; a final piece without "\n"
// is a line too, marked by `*unterminated`.
std::vector<std::string> SplitLines(const std::string& text, bool* unterminated) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      lines.push_back(text.substr(start));
      *unterminated = true;
      return lines;
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  *unterminated = false;
  return lines;
}

// A line as shown in a diff: control bytes escaped, trailing blanks made visible.
std::string Visible(const std::string& line) {
  std::size_t keep = line.find_last_not_of(' ');
  keep = keep == std::string::npos ? 0 : keep + 1;
  std::string shown;
  for (std::size_t i = 0; i < line.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(line[i]);
    if (i >= keep) {
      shown += "\xC2\xB7";  // middle dot for a trailing blank
    } else if (c == '\r') {
      shown += "\\r";
    } else if (c == '\t') {
      shown += "\\t";
    } else if (c < 0x20 || c == 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      shown += hex;
    } else {
      shown += static_cast<char>(c);
    }
  }
  return shown;
}

// A unified diff of two texts (expected "-", actual "+"), three lines of context.
std::string UnifiedDiff(const std::string& expected, const std::string& actual,
                        const std::string& label) {
  bool expectedOpen = false;
  bool actualOpen = false;
  std::vector<std::string> a = SplitLines(expected, &expectedOpen);
  std::vector<std::string> b = SplitLines(actual, &actualOpen);
  if (expectedOpen) a.back() += " (no newline at end)";
  if (actualOpen) b.back() += " (no newline at end)";

  // Trim the common head and tail, then run a plain LCS on the middle.
  std::size_t head = 0;
  while (head < a.size() && head < b.size() && a[head] == b[head]) ++head;
  std::size_t tail = 0;
  while (tail < a.size() - head && tail < b.size() - head &&
         a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) {
    ++tail;
  }
  const std::size_t n = a.size() - head - tail;
  const std::size_t m = b.size() - head - tail;

  // Edit script over the whole texts: ' ' same, '-' expected only, '+' actual only.
  std::vector<std::pair<char, std::string>> edits;
  for (std::size_t i = 0; i < head; ++i) edits.emplace_back(' ', a[i]);
  if (n * m <= 4'000'000) {
    std::vector<std::vector<std::uint32_t>> lcs(n + 1, std::vector<std::uint32_t>(m + 1, 0));
    for (std::size_t i = n; i-- > 0;) {
      for (std::size_t j = m; j-- > 0;) {
        lcs[i][j] = a[head + i] == b[head + j] ? lcs[i + 1][j + 1] + 1
                                               : std::max(lcs[i + 1][j], lcs[i][j + 1]);
      }
    }
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < n || j < m) {
      if (i < n && j < m && a[head + i] == b[head + j]) {
        edits.emplace_back(' ', a[head + i]);
        ++i;
        ++j;
      } else if (j < m && (i == n || lcs[i][j + 1] >= lcs[i + 1][j])) {
        edits.emplace_back('+', b[head + j++]);
      } else {
        edits.emplace_back('-', a[head + i++]);
      }
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) edits.emplace_back('-', a[head + i]);
    for (std::size_t j = 0; j < m; ++j) edits.emplace_back('+', b[head + j]);
  }
  for (std::size_t i = a.size() - tail; i < a.size(); ++i) edits.emplace_back(' ', a[i]);

  // Print hunks: runs of changes closer than 2 * context lines share a hunk.
  std::ostringstream out;
  out << "--- expected " << label << "\n+++ actual " << label << "\n";
  const std::size_t kContext = 3;
  std::vector<std::size_t> changed;
  for (std::size_t x = 0; x < edits.size(); ++x) {
    if (edits[x].first != ' ') changed.push_back(x);
  }
  std::size_t c = 0;
  while (c < changed.size()) {
    std::size_t last = c;
    while (last + 1 < changed.size() && changed[last + 1] - changed[last] <= 2 * kContext + 1) {
      ++last;
    }
    std::size_t start = changed[c] >= kContext ? changed[c] - kContext : 0;
    std::size_t end = std::min(edits.size(), changed[last] + kContext + 1);
    std::size_t lineA = 1;
    std::size_t lineB = 1;
    for (std::size_t x = 0; x < start; ++x) {
      if (edits[x].first != '+') ++lineA;
      if (edits[x].first != '-') ++lineB;
    }
    std::size_t countA = 0;
    std::size_t countB = 0;
    for (std::size_t x = start; x < end; ++x) {
      if (edits[x].first != '+') ++countA;
      if (edits[x].first != '-') ++countB;
    }
    out << "@@ -" << lineA << "," << countA << " +" << lineB << "," << countB << " @@\n";
    for (std::size_t x = start; x < end; ++x) {
      out << edits[x].first << Visible(edits[x].second) << "\n";
    }
    c = last + 1;
  }
  return out.str();
}

// ---- Running setup-run -------------------------------------------------------

struct RunResult {
  std::string out;
  std::string err;
  int exitCode = -1;  // the process's exit status, or -1 when it did not exit
  bool timedOut = false;
  std::string failure;  // why the process could not be run at all
};

int TimeoutSeconds() {
  const char* value = std::getenv("SETUP_GOLDEN_TIMEOUT");
  int seconds = value != nullptr ? std::atoi(value) : 0;
  return seconds > 0 ? seconds : 120;
}

// Runs `args` (args[0] the program) in `dir`, capturing stdout and stderr
// through temporary files so that neither pipe can block the child.
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

// Splits line 1 of a .cmd file into words; "..." keeps blanks inside a word.
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

// ---- The cases -------------------------------------------------------------

struct GoldenCase {
  std::string name;  // test name: relative path without extension, "/" -> "_"
  fs::path script;   // absolute path of <name>.cxx
};

// Shown by GoogleTest and ctest in place of the record's bytes.
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

// Removes a last line "exit N" from an expected stderr text; answers N or -1.
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

class Golden : public testing::TestWithParam<GoldenCase> {};

TEST_P(Golden, Output) {
  const GoldenCase& test = GetParam();
  const fs::path dir = test.script.parent_path();
  fs::path base = test.script;
  base.replace_extension();
  const fs::path outPath = base.string() + ".out";
  const fs::path errPath = base.string() + ".err";
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
  // With --show nothing runs: the .cxx only names the case.
  const bool runsScript = std::find(args.begin(), args.end(), "--module") == args.end() &&
                          std::find(args.begin(), args.end(), "--show") == args.end();
  args.push_back("--");
  if (runsScript) args.push_back(test.script.filename().string());
  for (const std::string& command : commands) args.push_back(command);

  RunResult run = RunProcess(args, dir);
  ASSERT_TRUE(run.failure.empty()) << test.name << ": " << run.failure << "\nstderr:\n" << run.err;
  ASSERT_FALSE(run.timedOut) << test.name << ": setup-run did not finish within "
                             << TimeoutSeconds() << " s\nstderr:\n"
                             << run.err;

  std::string expectedErr;
  const bool haveErr = ReadWhole(errPath, &expectedErr);
  const int expectedExit = haveErr ? TakeExitLine(&expectedErr) : 0;

  if (UpdateRequested()) {
    WriteWhole(outPath, run.out);
    if (haveErr) {
      std::string err = run.err;
      if (expectedExit >= 0 || run.exitCode != 0) {
        err += "exit " + std::to_string(run.exitCode) + "\n";
      }
      WriteWhole(errPath, err);
    }
    return;
  }

  std::string expectedOut;
  if (!ReadWhole(outPath, &expectedOut)) {
    ADD_FAILURE() << outPath << " is missing; actual stdout:\n" << run.out;
  } else if (run.out != expectedOut) {
    ADD_FAILURE() << "stdout differs\n" << UnifiedDiff(expectedOut, run.out, outPath.string());
  }
  if (haveErr) {
    if (run.err != expectedErr) {
      ADD_FAILURE() << "stderr differs\n" << UnifiedDiff(expectedErr, run.err, errPath.string());
    }
    if (expectedExit >= 0 && run.exitCode != expectedExit) {
      ADD_FAILURE() << "setup-run exited with " << run.exitCode << ", expected " << expectedExit;
    }
  } else if (run.exitCode != 0) {
    ADD_FAILURE() << "setup-run exited with " << run.exitCode << "\nstderr:\n" << run.err;
  }
}

std::string CaseName(const testing::TestParamInfo<GoldenCase>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Cases, Golden, testing::ValuesIn(FindCases()), CaseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Golden);

// ---- The runner's own behaviour across runs ------------------------------------

// A scratch directory for one test, removed afterwards.
class ScratchDir {
 public:
  ScratchDir() {
    char name[] = "/tmp/golden-runner-XXXXXX";
    if (mkdtemp(name) != nullptr) m_path = name;
  }
  ~ScratchDir() {
    std::error_code ec;
    if (!m_path.empty()) fs::remove_all(m_path, ec);
  }
  const fs::path& Path() const { return m_path; }

 private:
  fs::path m_path;
};

// "Action returned N" lines of a run, in order.
std::vector<std::string> Results(const std::string& err) {
  std::vector<std::string> results;
  std::istringstream in(err);
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("Action returned ", 0) == 0) results.push_back(line.substr(16));
  }
  return results;
}

TEST(GoldenRunner, MachineStatePersistsAcrossRuns) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.Path().empty());
  const fs::path machine = scratch.Path() / "machine";
  WriteWhole(scratch.Path() / "version.cxx", "num main() {\n  return getwinversion()\n}\n");
  WriteWhole(scratch.Path() / "lib.inc", "num Seven() {\n  return 7\n}\n");
  WriteWhole(scratch.Path() / "uses_lib.cxx",
             "include \"C:\\keep\\lib.inc\"\nnum main() {\n  return Seven()\n}\n");

  // First run: a Windows 7 profile and a file put on the machine.
  RunResult first = RunProcess({SETUP_RUN_PATH, "--machine", machine.string(), "--os", "6.1",
                                "--put", "lib.inc=C:\\keep\\lib.inc", "version.cxx", "/a"},
                               scratch.Path());
  ASSERT_EQ(first.exitCode, 0) << first.err;
  EXPECT_EQ(Results(first.err), std::vector<std::string>{"7"}) << first.err;

  // Second run on the same machine, without the options: both are still there.
  RunResult again = RunProcess({SETUP_RUN_PATH, "--machine", machine.string(), "version.cxx", "/a"},
                               scratch.Path());
  EXPECT_EQ(Results(again.err), std::vector<std::string>{"7"}) << again.err;
  RunResult include = RunProcess(
      {SETUP_RUN_PATH, "--machine", machine.string(), "uses_lib.cxx", "/a"}, scratch.Path());
  EXPECT_EQ(Results(include.err), std::vector<std::string>{"7"}) << include.out << include.err;

  // A fresh machine has neither.
  RunResult fresh = RunProcess({SETUP_RUN_PATH, "version.cxx", "/a"}, scratch.Path());
  EXPECT_EQ(Results(fresh.err), std::vector<std::string>{"5"}) << fresh.err;
}

TEST(GoldenRunner, KeepExpandedCopiesThePreludeAndScript) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.Path().empty());
  const std::string script = "num main() {\n  return _Parameters_Num\n}\n";
  WriteWhole(scratch.Path() / "s.cxx", script);
  RunResult run = RunProcess(
      {SETUP_RUN_PATH, "--fixed-time", "--keep-expanded", "expanded.txt", "s.cxx", "/a /bc"},
      scratch.Path());
  ASSERT_EQ(run.exitCode, 0) << run.err;
  std::string expanded;
  ASSERT_TRUE(ReadWhole(scratch.Path() / "expanded.txt", &expanded)) << run.err;
  // The expanded file is a text file of the machine: CR LF line ends on disk.
  EXPECT_EQ(expanded,
            "///Generate By Halden.Ru.      [2008.5.7 17:4]\r\n"
            "num _Parameters_Num = 2 \r\n"
            "string _Parameters[2]={\"a\",\"bc\",}\r\n"
            "num main() {\r\n  return _Parameters_Num\r\n}\r\n");
}

TEST(GoldenRunner, RunsAModuleBuiltBySetupPack) {
  const fs::path pack = fs::path(SETUP_RUN_PATH).parent_path() / "setup-pack";
  if (!fs::exists(pack)) GTEST_SKIP() << "setup-pack is not built";
  ScratchDir scratch;
  ASSERT_FALSE(scratch.Path().empty());
  WriteWhole(scratch.Path() / "setup.CXX", "num main() {\n  return 42\n}\n");
  WriteWhole(scratch.Path() / "base.bin", std::string("MZ image bytes\0\1\2", 17));
  RunResult packed = RunProcess(
      {pack.string(), "create", "mod.dll", "--base", "base.bin", "setup.CXX"}, scratch.Path());
  ASSERT_EQ(packed.exitCode, 0) << packed.out << packed.err;
  RunResult run =
      RunProcess({SETUP_RUN_PATH, "--module", "mod.dll", "/go", "/again"}, scratch.Path());
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(Results(run.err), (std::vector<std::string>{"42", "42"})) << run.out << run.err;
}

// ---- Message coverage --------------------------------------------------------

// A message of the system: its text with the escapes of the literal decoded,
// and where it was found.
struct Message {
  std::string text;
  std::string where;
};

// Reads a C string literal starting at text[pos] == '"'; answers the decoded
// bytes and moves pos behind the closing quote.
bool ReadLiteral(const std::string& text, std::size_t* pos, std::string* value) {
  std::size_t i = *pos + 1;
  while (i < text.size() && text[i] != '"') {
    char c = text[i++];
    if (c == '\n') return false;
    if (c != '\\') {
      *value += c;
      continue;
    }
    if (i >= text.size()) return false;
    char e = text[i++];
    switch (e) {
      case 'n':
        *value += '\n';
        break;
      case 't':
        *value += '\t';
        break;
      case 'r':
        *value += '\r';
        break;
      case '0':
        *value += '\0';
        break;
      case 'x': {
        int code = 0;
        while (i < text.size() && std::isxdigit(static_cast<unsigned char>(text[i]))) {
          char d = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i++])));
          code = code * 16 + (d <= '9' ? d - '0' : d - 'a' + 10);
        }
        *value += static_cast<char>(code);
        break;
      }
      default:
        *value += e;
        break;
    }
  }
  if (i >= text.size()) return false;
  *pos = i + 1;
  return true;
}

// Skips blanks, line comments and block comments.
void SkipSpace(const std::string& text, std::size_t* pos) {
  for (;;) {
    while (*pos < text.size() && std::isspace(static_cast<unsigned char>(text[*pos]))) ++*pos;
    if (text.compare(*pos, 2, "//") == 0) {
      std::size_t end = text.find('\n', *pos);
      *pos = end == std::string::npos ? text.size() : end;
    } else if (text.compare(*pos, 2, "/*") == 0) {
      std::size_t end = text.find("*/", *pos + 2);
      *pos = end == std::string::npos ? text.size() : end + 2;
    } else {
      return;
    }
  }
}

// Every first argument of ReportError/ReportWarning/PrintLine in `file` that
// is a string literal (adjacent literals joined).
void CollectMessages(const fs::path& file, const std::string& shownName,
                     std::vector<Message>* messages) {
  std::string text;
  if (!ReadWhole(file, &text)) return;
  for (const char* function : {"ReportError", "ReportWarning", "PrintLine"}) {
    const std::string name = function;
    std::size_t pos = 0;
    while ((pos = text.find(name, pos)) != std::string::npos) {
      const std::size_t start = pos;
      pos += name.size();
      if (start > 0) {
        char before = text[start - 1];
        if (std::isalnum(static_cast<unsigned char>(before)) || before == '_') continue;
      }
      std::size_t cursor = pos;
      SkipSpace(text, &cursor);
      if (cursor >= text.size() || text[cursor] != '(') continue;
      ++cursor;
      SkipSpace(text, &cursor);
      std::string value;
      bool any = false;
      while (cursor < text.size() && text[cursor] == '"') {
        if (!ReadLiteral(text, &cursor, &value)) break;
        any = true;
        SkipSpace(text, &cursor);
      }
      if (!any) continue;
      std::size_t line =
          static_cast<std::size_t>(std::count(text.begin(), text.begin() + start, '\n')) + 1;
      messages->push_back({value, shownName + ":" + std::to_string(line)});
    }
  }
}

// The pieces of a message between its conversions ("%s", "%d", "%8x", ...).
std::vector<std::string> SplitAtConversions(const std::string& message) {
  std::vector<std::string> pieces;
  std::string piece;
  for (std::size_t i = 0; i < message.size(); ++i) {
    if (message[i] != '%') {
      piece += message[i];
      continue;
    }
    std::size_t j = i + 1;
    if (j < message.size() && message[j] == '*') ++j;
    while (j < message.size() && std::isdigit(static_cast<unsigned char>(message[j]))) ++j;
    if (j < message.size() && std::isalpha(static_cast<unsigned char>(message[j]))) {
      if (!piece.empty()) pieces.push_back(piece);
      piece.clear();
      i = j;
    } else {
      piece += message[i];
    }
  }
  if (!piece.empty()) pieces.push_back(piece);
  return pieces;
}

// True when the pieces occur in `text` in order, each gap (a converted
// argument) at most 300 characters long.
bool MatchesInOrder(const std::string& text, const std::vector<std::string>& pieces) {
  if (pieces.empty()) return true;
  std::size_t from = 0;
  while ((from = text.find(pieces[0], from)) != std::string::npos) {
    std::size_t at = from + pieces[0].size();
    bool all = true;
    for (std::size_t k = 1; k < pieces.size() && all; ++k) {
      std::size_t next = text.find(pieces[k], at);
      if (next == std::string::npos || next - at > 300) {
        all = false;
      } else {
        at = next + pieces[k].size();
      }
    }
    if (all) return true;
    ++from;
  }
  return false;
}

// The message written with C escapes, as in the source and in uncovered.txt.
std::string Escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '\n':
        out += "\\n";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\r':
        out += "\\r";
        break;
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      default:
        out += c;
        break;
    }
  }
  return out;
}

TEST(GoldenMessages, EveryMessageIsCovered) {
  const fs::path src = SETUP_SRC_DIR;
  std::vector<Message> messages;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(src, ec); !ec && it != fs::end(it);
       it.increment(ec)) {
    const fs::path& path = it->path();
    const std::string relative = path.lexically_relative(src).generic_string();
    // The simulated machine is not part of the library; the reports' own
    // fall-back texts are tested by unit tests.
    if (relative.rfind("platform/sim", 0) == 0 || relative.rfind("diag/", 0) == 0) continue;
    if (path.extension() != ".cpp" && path.extension() != ".h") continue;
    CollectMessages(path, "src/" + relative, &messages);
  }

  std::vector<std::string> outputs;
  for (auto it = fs::recursive_directory_iterator(SETUP_GOLDEN_DIR, ec); !ec && it != fs::end(it);
       it.increment(ec)) {
    if (it->path().extension() != ".out") continue;
    std::string text;
    if (ReadWhole(it->path(), &text)) outputs.push_back(text);
  }

  // The allow-list: "<message with C escapes> # reason" per line.
  std::map<std::string, bool> allowed;  // escaped text -> still found in the source
  std::string allowText;
  ReadWhole(fs::path(SETUP_GOLDEN_DIR) / "uncovered.txt", &allowText);
  bool open = false;
  for (std::string line : SplitLines(allowText, &open)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::size_t hash = line.rfind(" # ");
    EXPECT_NE(hash, std::string::npos) << "uncovered.txt: no \" # reason\" in: " << line;
    if (hash == std::string::npos) continue;
    allowed[line.substr(0, hash)] = false;
  }

  std::set<std::string> seen;
  std::ostringstream missing;
  std::ostringstream listedButCovered;
  for (const Message& message : messages) {
    const std::string escaped = Escaped(message.text);
    if (!seen.insert(escaped).second) continue;
    std::vector<std::string> pieces = SplitAtConversions(message.text);
    bool covered = std::any_of(outputs.begin(), outputs.end(),
                               [&](const std::string& out) { return MatchesInOrder(out, pieces); });
    auto entry = allowed.find(escaped);
    if (entry != allowed.end()) {
      entry->second = true;
      if (covered) listedButCovered << "  " << escaped << "   (" << message.where << ")\n";
      continue;
    }
    if (!covered) missing << "  " << escaped << "   (" << message.where << ")\n";
  }
  std::ostringstream stale;
  for (const auto& [text, found] : allowed) {
    if (!found) stale << "  " << text << "\n";
  }

  EXPECT_TRUE(missing.str().empty())
      << "Messages that no .out file covers (add a golden case, or list them in "
         "tests/golden/uncovered.txt with a reason):\n"
      << missing.str();
  EXPECT_TRUE(listedButCovered.str().empty())
      << "Messages in uncovered.txt that a golden case now covers (remove them from the list):\n"
      << listedButCovered.str();
  EXPECT_TRUE(stale.str().empty())
      << "Messages in uncovered.txt that the source no longer contains:\n"
      << stale.str();
}

// The helpers above decide what counts as a pass, so they get checks of their own.
TEST(GoldenRunner, ConversionsSplitMessages) {
  EXPECT_EQ(SplitAtConversions("file %s not found."),
            (std::vector<std::string>{"file ", " not found."}));
  EXPECT_EQ(SplitAtConversions("win error code:0x%8x"),
            (std::vector<std::string>{"win error code:0x"}));
  EXPECT_EQ(SplitAtConversions("100% sure %d"), (std::vector<std::string>{"100% sure "}));
  EXPECT_TRUE(MatchesInOrder("\n$ file C:\\a.cxx not found. ", {"file ", " not found."}));
  EXPECT_FALSE(MatchesInOrder("not found. file x", {"file ", " not found."}));
}

TEST(GoldenRunner, CommandLineWordsAndExitLine) {
  EXPECT_EQ(SplitOptions("--os 6.1  --sysdir \"C:\\My Win\\system32\" --answer 7"),
            (std::vector<std::string>{"--os", "6.1", "--sysdir", "C:\\My Win\\system32", "--answer",
                                      "7"}));
  EXPECT_TRUE(SplitOptions("   ").empty());
  std::string err = "[msgbox] Prompt: Init dll failed -> 1\nexit 1\n";
  EXPECT_EQ(TakeExitLine(&err), 1);
  EXPECT_EQ(err, "[msgbox] Prompt: Init dll failed -> 1\n");
  std::string plain = "Action returned 0\n";
  EXPECT_EQ(TakeExitLine(&plain), -1);
  EXPECT_EQ(plain, "Action returned 0\n");
}

TEST(GoldenRunner, DiffShowsChangedLinesAndTrailingBlanks) {
  std::string diff = UnifiedDiff("a\nb\nc\n", "a\nB \nc\n", "x.out");
  EXPECT_NE(diff.find("-b\n"), std::string::npos) << diff;
  EXPECT_NE(diff.find("+B\xC2\xB7\n"), std::string::npos) << diff;
  EXPECT_NE(diff.find(" a\n"), std::string::npos) << diff;
  std::string open = UnifiedDiff("a\n", "a", "x.out");
  EXPECT_NE(open.find("(no newline at end)"), std::string::npos) << open;
}

}  // namespace
