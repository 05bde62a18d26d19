// Explains failed runs on standard error: where compilation stopped, the
// function a run failed in, and hints for the usual traps. Standard output is
// passed through untouched; the locations come from the state the library
// keeps (line number, file name, include and call stacks), read at the moment
// each report is written.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace setuprun {

// What the script file itself tells before it runs.
struct ScriptFacts {
  std::string label;                    // how messages name the script (the host path)
  bool byteOrderMark = false;           // starts with EF BB BF
  bool empty = false;                   // no bytes, or only blanks and line ends
  std::optional<std::size_t> binaryAt;  // offset of a NUL or other binary byte
  bool mentionsParameters = false;      // the text uses _Parameters
};

// Reads the facts from the script's bytes.
ScriptFacts InspectScript(const std::string& label, const std::string& bytes);

// Watches one Action call (or one compile-only check).
class RunObserver {
 public:
  explicit RunObserver(ScriptFacts facts) : m_Facts(std::move(facts)) {}

  // Starts a call with this command string.
  void Begin(const std::string& command);
  // Standard-output sink: records the library's state for this report.
  void OnOutput(const char* text, std::size_t length);
  // Ends the call: prints the location and the hints of a failure. `result`
  // is what Action answered (for a check: 1 compiled, 0 not).
  void End(int result, bool checkOnly);

 private:
  struct Location {
    std::string file;
    int line = 0;
    std::string token;
    std::vector<std::pair<std::string, int>> includedFrom;  // innermost first
  };
  Location Here() const;

  ScriptFacts m_Facts;
  int m_Parameters = 0;
  std::string m_Command;
  bool m_Compiled = false;
  bool m_CompileFailed = false;
  bool m_HasMain = true;
  bool m_Finished = false;
  std::optional<Location> m_FirstReport;  // at the first report while compiling
  std::string m_FirstMessage;
  std::optional<Location> m_StopPoint;  // when "Compile failed" was printed
  std::vector<std::string> m_RunCalls;  // call chain at the last report of the run
  std::string m_RunMessage;             // first report of the run
  bool m_RunReported = false;
};

}  // namespace setuprun
