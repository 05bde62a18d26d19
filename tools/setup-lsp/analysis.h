// Compiling a document with the library's compiler, the way setup-run --check
// does, and gathering what the compiler learned on the way: its first error
// at the author's line, and the functions, variables and macros it declared
// before it stopped.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lsp {

// A place in a source: the document itself (file empty), an included file
// (file is the path the include names), or the generated prelude.
struct Place {
  std::string file;
  bool prelude = false;
  int line = 0;    // from 0
  int column = 0;  // byte offset in the line
  int endColumn = 0;

  // A place in the document itself.
  static Place InDocument(int line, int column, int endColumn) {
    Place place;
    place.line = line;
    place.column = column;
    place.endColumn = endColumn;
    return place;
  }
};

enum class Severity { Error = 1, Warning = 2, Information = 3 };

struct Diagnostic {
  Place at;
  Severity severity = Severity::Error;
  std::string message;
  std::optional<Place> inInclude;  // where an error in an included file really is
  std::string viaInclude;          // then: the file the document's include names
};

struct Token {
  std::int32_t code = 0;  // the lexer's token code
  std::string text;
  int line = 0;  // from 0
  int column = 0;
  int endColumn = 0;
};

struct VariableInfo {
  std::string name;
  std::string type;  // "num" or "string"
  std::vector<std::int32_t> dims;
  std::string function;  // empty for a global
  bool parameter = false;
  Place at;
  std::string Declaration() const;  // "num grid[3][4]"
};

struct FunctionInfo {
  std::string name;
  std::string result;
  std::vector<std::pair<std::string, std::string>> params;  // type, name
  std::optional<Place> prototype;
  std::optional<Place> definition;
  std::optional<Place> bodyEnd;     // the closing brace, once the body compiled
  std::string Declaration() const;  // "num add(num a, num b)"
};

struct MacroInfo {
  std::string name;
  bool hasParams = false;
  std::vector<std::string> params;
  std::string body;
  Place at;
  std::string Definition() const;  // "define NAME(a, b) body"
};

struct Analysis {
  bool compiled = false;
  std::vector<Diagnostic> diagnostics;
  int errorLine = -1;           // the document line where compilation stopped, -1 when it did not
  bool usesParameters = false;  // the document reads _Parameters
  std::string command;          // the command it was compiled for
  std::vector<Token> tokens;    // the document's tokens, in order
  std::vector<FunctionInfo> functions;
  std::vector<VariableInfo> variables;  // globals, parameters and locals, in declaration order
  std::vector<MacroInfo> macros;
  std::map<std::string, std::string> includes;  // include path -> host path found for it
  int lineCount = 0;

  const FunctionInfo* FindFunction(const std::string& name) const;
  const MacroInfo* FindMacro(const std::string& name) const;
  // The function whose body holds the document position, if any.
  const FunctionInfo* FunctionAt(int line, int column) const;
  // The variable a name at the position means: a parameter or local of the
  // enclosing function declared before it, else a global.
  const VariableInfo* VariableAt(const std::string& name, int line, int column) const;
  // The index of the token at the position (or just before it), -1 for none.
  int TokenAt(int line, int column) const;
};

// Finds the text of an included file: an open document's text, else the
// host file. Answers the host path it used, empty when there is none.
using IncludeSource = std::function<std::string(const std::string& hostPath, std::string* text)>;

// The library loaded once on a temporary simulated machine in memory; every
// analysis compiles through it. One per process (the library has one state).
class Analyzer {
 public:
  Analyzer();
  ~Analyzer();
  Analyzer(const Analyzer&) = delete;
  Analyzer& operator=(const Analyzer&) = delete;

  bool Ready() const { return m_bReady; }
  const std::string& Problem() const { return m_Problem; }

  // Compiles `text`, the document at host directory `directory` (for its
  // relative includes).
  Analysis Analyze(const std::string& text, const std::string& directory,
                   const IncludeSource& source);

  // The command a document is compiled for when it reads _Parameters.
  static constexpr const char* kParameterCommand = "/install";

 private:
  bool m_bReady = false;
  std::string m_Problem;
};

// Gives a failed analysis the symbols of the last good one that lie past the
// point where compilation stopped, moved by the change in line count.
void KeepLastGood(Analysis& fresh, const Analysis& good);

}  // namespace lsp
