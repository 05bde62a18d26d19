// Shared parts of the golden test runner: file helpers, the child process
// runner, the unified diff, the case list and its .cmd files, and the scanner
// that collects the system's messages from the source.
#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace golden {

namespace fs = std::filesystem;

// ---- Files (files.cpp) -------------------------------------------------------

bool ReadWhole(const fs::path& path, std::string* text);
bool WriteWhole(const fs::path& path, const std::string& text);
// Splits the text into lines without their "\n"; a final piece without "\n"
// is a line too, marked by `*unterminated`.
std::vector<std::string> SplitLines(const std::string& text, bool* unterminated);

// A scratch directory for one test, removed afterwards.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const fs::path& Path() const { return m_path; }

 private:
  fs::path m_path;
};

// ---- Running a process (process.cpp) -------------------------------------------

struct RunResult {
  std::string out;
  std::string err;
  int exitCode = -1;  // the process's exit status, or -1 when it did not exit
  bool timedOut = false;
  std::string failure;  // why the process could not be run at all
};

// Seconds a child may run (SETUP_GOLDEN_TIMEOUT, default 120).
int TimeoutSeconds();
// Runs `args` (args[0] the program) in `dir`, capturing stdout and stderr
// through temporary files so that neither pipe can block the child.
RunResult RunProcess(const std::vector<std::string>& args, const fs::path& dir);
// "Action returned N" lines of a run, in order.
std::vector<std::string> Results(const std::string& err);

// ---- Unified diff (diff.cpp) ----------------------------------------------------

// A unified diff of two texts (expected "-", actual "+"), three lines of
// context; control bytes escaped and trailing blanks made visible.
std::string UnifiedDiff(const std::string& expected, const std::string& actual,
                        const std::string& label);

// ---- The cases (cases.cpp) ---------------------------------------------------------

struct GoldenCase {
  std::string name;  // test name: relative path without extension, "/" -> "_"
  fs::path script;   // absolute path of <name>.cxx
};
// Shown by GoogleTest and ctest in place of the record's bytes.
void PrintTo(const GoldenCase& test, std::ostream* out);
// Every case below the golden folder, sorted by name.
std::vector<GoldenCase> FindCases();
// The setup-run command line of a case (program first), from its .cmd file.
std::vector<std::string> CaseArguments(const GoldenCase& test);
// Splits line 1 of a .cmd file into words; "..." keeps blanks inside a word.
std::vector<std::string> SplitOptions(const std::string& line);
// Removes a last line "exit N" from an expected stderr text; answers N or -1.
int TakeExitLine(std::string* err);
// True when SETUP_GOLDEN_UPDATE asks to rewrite the expectations.
bool UpdateRequested();

// ---- Message scanner (messages.cpp) -----------------------------------------------

// A message of the system: its text with the escapes of the literal decoded,
// and where it was found.
struct Message {
  std::string text;
  std::string where;
};
// Every first argument of ReportError/ReportWarning/PrintLine in `file` that
// is a string literal (adjacent literals joined).
void CollectMessages(const fs::path& file, const std::string& shownName,
                     std::vector<Message>* messages);
// The pieces of a message between its conversions ("%s", "%d", "%8x", ...).
std::vector<std::string> SplitAtConversions(const std::string& message);
// True when the pieces occur in `text` in order, each gap (a converted
// argument) at most 300 characters long.
bool MatchesInOrder(const std::string& text, const std::vector<std::string>& pieces);
// The message written with C escapes, as in the source and in uncovered.txt.
std::string Escaped(const std::string& text);

}  // namespace golden
