// The front end's entry: one compilation from the first token to the end of
// the source, and the session that brackets a compilation of a file.
#pragma once

#include <string>

namespace setup {

// Compiles the current source stream (m_pSourceFile): reads the first token,
// then one statement_sequence for the whole source. 1 when it reached the end.
[[nodiscard]] int CompileScript();

// One compilation of a source file from opening to clean-up, the sequence
// every compile-only caller shares (the tools' check, tests, fuzzers,
// benchmarks). The constructor makes `path` the current source file, puts the
// reader at its start and measures nesting depth from the caller's frame;
// the destructor releases everything the compilation made (ResetRun) and gives
// m_szFileName back its previous text.
class CompileSession {
 public:
  explicit CompileSession(const char* path);
  ~CompileSession();
  CompileSession(const CompileSession&) = delete;
  CompileSession& operator=(const CompileSession&) = delete;

  // False when the file could not be opened (reported as "file %s not found.").
  [[nodiscard]] bool Opened() const { return m_bOpened; }
  // Compiles the source; 1 when it compiled and no failure was reported.
  [[nodiscard]] int Compile();

 private:
  std::string m_szSavedFileName;  // m_szFileName before the session
  bool m_bOpened = false;
};

// Compiles the script file at `path` (a path of the platform layer) exactly as
// the run sequence compiles the expanded script, prints the same closing lines
// for success or failure, then releases everything. Answers 1 when the script
// compiled.
[[nodiscard]] int CheckScriptFile(const char* path);

}  // namespace setup
