// --trace and --coverage: the observer that setup-run installs in the library
// (setup::ScriptObserver). It names every node by the file and line it was
// made at, prints the trace on standard error and counts lines, branches and
// function calls for an lcov tracefile. See docs/setup-run.md, "Trace" and
// "Coverage".
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/observer.h"

namespace setuprun {

// Texts in the trace are cut after this many bytes.
constexpr std::size_t kTraceTextLimit = 64;

// A value as the trace shows it: a num in decimal, a text quoted with C
// escapes (\" \\ \n \r \t, \xHH for other control and non-ASCII bytes) and
// cut after kTraceTextLimit bytes ("..." and the full length follow), an
// array as [array].
std::string TraceValue(const setup::ObservedValue& value);

// The records of one source file in an lcov tracefile. A branch taken count
// of -1 is lcov's "-": the construct never ran.
struct FileCoverage {
  std::map<int, long long> lines;                                  // DA
  std::map<std::string, std::pair<int, long long>> functions;      // FN line, FNDA count
  std::map<std::pair<int, int>, std::vector<long long>> branches;  // (line, block) -> taken
};

// Counts of every file, merged over runs; read from and written as an lcov
// tracefile.
class Coverage {
 public:
  // Adds the counts of an lcov tracefile. False (with the line at fault in
  // `error`) when it is not one.
  bool Merge(const std::string& text, std::string* error);
  // The tracefile: one record per file, its summary lines included.
  std::string Write() const;
  std::map<std::string, FileCoverage>& Files() { return m_Files; }

 private:
  std::map<std::string, FileCoverage> m_Files;  // by SF path
};

class Watcher : public setup::ScriptObserver {
 public:
  enum class Trace { Off, Calls, Statements };
  Watcher(Trace trace, Coverage* coverage);

  // The script of the runs to come: how the trace names it, and its path in
  // the tracefile. `includes` maps the Windows paths of files put on the
  // machine to their host paths, for naming included files in the tracefile.
  void SetScript(const std::string& label, const std::string& path,
                 std::vector<std::pair<std::string, std::string>> includes);
  // Around each Action call: forgets the previous run's nodes; adds this
  // run's counts to the coverage.
  void BeginAction();
  void EndAction();
  // Whether the fast paths must give way to the tree walk.
  bool WantsWalk() const { return m_Trace == Trace::Statements || m_pCoverage != nullptr; }

  void NodeMade(const void* node, const char* file, std::int32_t line) override;
  void SamePlace(const void* node, const void* place) override;
  void Construct(const void* node, setup::ObservedKind kind, const char* what,
                 std::int32_t branches) override;
  void FunctionDefined(const char* name, const void* definition) override;
  void Statement(const void* node) override;
  void Branch(const void* node, std::int32_t branch) override;
  void Call(const void* node, const char* name, const setup::ObservedValue* args,
            std::int32_t count) override;
  void Return(const void* node, const char* name, const setup::ObservedValue* result) override;
  void Builtin(const void* node, const char* name, const setup::ObservedValue* args,
               std::int32_t count, const setup::ObservedValue& result, bool failed) override;

 private:
  struct Place {
    int file = -1;  // index in m_FileNames; 0 is the script; -1 unknown
    int line = 0;
  };
  // A statement of this run: the order it was described in, its words, how
  // often it ran and how often each of its branches was taken.
  struct Counts {
    std::uint64_t order = 0;
    std::string what;
    std::int32_t branches = 0;
    long long runs = 0;
    std::vector<long long> taken;
  };

  Place PlaceOf(const void* node) const;
  std::string Where(const void* node) const;
  void Say(const std::string& text) const;
  std::string CoveragePath(int file) const;

  Trace m_Trace;
  Coverage* m_pCoverage;
  std::string m_szLabel;
  std::string m_szPath;
  std::vector<std::pair<std::string, std::string>> m_Includes;
  // This run's nodes.
  std::vector<std::string> m_FileNames;  // [0] the script; then included files
  std::unordered_map<std::string, int> m_FileIndex;
  std::unordered_map<const void*, Place> m_Places;
  std::unordered_map<const void*, Counts> m_Constructs;
  std::vector<std::pair<std::string, const void*>> m_Functions;  // name, definition
  std::unordered_map<std::string, long long> m_Calls;
  std::uint64_t m_nOrder = 0;
  int m_nDepth = 0;
};

}  // namespace setuprun
