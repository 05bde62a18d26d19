// Compiling a document through the library and collecting what it learned.
#include "analysis.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <unordered_set>

#include "base/global.h"
#include "catalog.h"
#include "common/package_writer.h"
#include "common/script_check.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"
#include "script/front/compile.h"
#include "script/front/lexer.h"
#include "script/store/symbols.h"

namespace lsp {

namespace {

namespace fs = std::filesystem;

// Any non-null value serves: the machine answers the module path for it.
plat::HMODULE const kModule = reinterpret_cast<plat::HMODULE>(0x10000000);
constexpr const char* kModulePath = "C:\\Program Files\\Setup\\Setup.dll";
constexpr const char* kScriptName = "script.cxx";

const char* TypeName(setup::ValueType type) {
  return type == setup::ValueType::String ? "string" : "num";
}

// The analysis in progress: the compile observer and the output sink fill it.
struct Collector {
  Analysis* out = nullptr;
  std::string scriptPath;  // the extracted script on the machine
  std::string directory;   // host directory of the document
  const IncludeSource* source = nullptr;
  bool compiling = false;
  bool ended = false;  // the library printed its closing lines
  bool hasError = false;
  std::string pendingName;  // the name of the declaration being compiled
  Place pendingPlace;
  std::vector<std::pair<std::string, Place>> pendingParams;
  // The reader's lines of the document when one of its lines is longer than
  // the reader takes at once (the reader counts each piece as a line): the
  // document line and the offset of each piece. Empty when they agree.
  std::vector<std::pair<int, int>> pieces;
};
Collector* theCollector = nullptr;

// The pieces the reader splits the document's lines into, or none when no
// line is split.
std::vector<std::pair<int, int>> ReaderPieces(const std::string& text) {
  constexpr std::size_t kPiece = setup::kLineSize - 2;  // what one GetLine takes
  std::vector<std::pair<int, int>> pieces;
  bool split = false;
  int line = 0;
  for (std::size_t start = 0; start < text.size(); ++line) {
    std::size_t end = text.find('\n', start);
    end = end == std::string::npos ? text.size() : end + 1;
    // The reader sees a CR LF as one LF.
    std::size_t length = end - start;
    if (length >= 2 && text[end - 1] == '\n' && text[end - 2] == '\r') --length;
    split = split || length > kPiece;
    for (std::size_t offset = 0; offset < length; offset += kPiece) {
      pieces.emplace_back(line, static_cast<int>(offset));
    }
    start = end;
  }
  if (!split) pieces.clear();
  return pieces;
}

// A document place in the reader's lines moved to the document's lines.
void ToDocumentLines(Place& place) {
  const auto& pieces = theCollector->pieces;
  if (!place.file.empty() || place.prelude || pieces.empty()) return;
  if (place.line < 0 || static_cast<std::size_t>(place.line) >= pieces.size()) return;
  const auto [line, offset] = pieces[static_cast<std::size_t>(place.line)];
  place.line = line;
  place.column += offset;
  place.endColumn += offset;
}

std::string CurrentFile() {
  const setup::Global& g = setup::theGlobal;
  return std::string(g.m_szFileName, strnlen(g.m_szFileName, sizeof g.m_szFileName));
}

// A place on the reader's current line: the file, the line without the
// prelude, and the columns of `text` when the line shows it (the last time
// before the reader's position, where the current token ends).
Place Here(const char* text) {
  const setup::Global& g = setup::theGlobal;
  Place place;
  int line = g.m_nLineNo;
  const std::string current = CurrentFile();
  if (current == theCollector->scriptPath) {
    line -= g.m_nPreludeLines;
    place.prelude = line <= 0;
  } else {
    place.file = current;
  }
  place.line = std::max(line - 1, 0);
  const std::string_view content(g.m_szLine, strnlen(g.m_szLine, sizeof g.m_szLine));
  const std::size_t length = text != nullptr ? std::strlen(text) : 0;
  std::size_t end = std::min<std::size_t>(std::max(g.m_nLinePos, 0), content.size());
  std::size_t at = std::string_view::npos;
  if (length > 0 && !g.m_bInMacro && end >= length &&
      content.substr(end - length, length) == text) {
    at = end - length;
  } else if (length > 0) {
    at = content.rfind(text, end > 0 ? end - 1 : 0);
    if (at == std::string_view::npos) at = content.find(text);
  }
  if (at != std::string_view::npos) {
    place.column = static_cast<int>(at);
    place.endColumn = static_cast<int>(at + length);
  } else {
    std::size_t visible = content.size();
    while (visible > 0 && (content[visible - 1] == '\n' || content[visible - 1] == '\r')) --visible;
    place.endColumn = static_cast<int>(visible);
  }
  ToDocumentLines(place);
  return place;
}

// Where a report while compiling belongs in the document: here, or at the
// include that leads to the file being read.
Diagnostic DiagnosticHere(Severity severity, std::string message) {
  const setup::Global& g = setup::theGlobal;
  Diagnostic d;
  d.severity = severity;
  d.message = std::move(message);
  const std::string token(g.m_szToken, strnlen(g.m_szToken, sizeof g.m_szToken));
  Place here = Here(token.c_str());
  if (here.file.empty()) {
    d.at = here;
    return d;
  }
  d.inInclude = here;
  // The document's frame holds the line the reader was on when the include
  // was opened (which may be past the include); the include itself is found
  // by its tokens once the compilation ends (PlaceIncludes).
  const auto& frames = setup::theIncludes;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (frames[i]->m_szFileName != theCollector->scriptPath) continue;
    d.at.line = std::max(frames[i]->m_nLineNo - g.m_nPreludeLines - 1, 0);
    ToDocumentLines(d.at);
    d.viaInclude = i + 1 < frames.size() ? frames[i + 1]->m_szFileName : here.file;
    break;
  }
  return d;
}

// The text of one report, without its framing ("\n$ text ", "\nfile(7):text").
std::string ReportText(std::string_view text, Severity* severity) {
  std::size_t start = text.find_first_not_of('\n');
  if (start == std::string_view::npos) return std::string();
  text.remove_prefix(start);
  *severity = Severity::Warning;
  if (text.substr(0, 2) == "$ ") {
    *severity = Severity::Error;
    text.remove_prefix(2);
  } else {
    const std::string file = CurrentFile() + "(";
    if (text.substr(0, file.size()) == file) {
      const std::size_t close = text.find("):");
      if (close != std::string_view::npos) text.remove_prefix(close + 2);
    }
  }
  start = text.find_first_not_of("\r\n ");
  if (start == std::string_view::npos) return std::string();
  text.remove_prefix(start);
  text = text.substr(0, text.find('\n'));
  while (!text.empty() && (text.back() == ' ' || text.back() == '\r')) text.remove_suffix(1);
  return std::string(text);
}

void OnOutput(const char* text, std::size_t length) {
  Collector* c = theCollector;
  if (c == nullptr || !c->compiling || text == nullptr) return;
  const std::string_view s(text, length);
  if (s.find("-----Compile failed.------") != std::string_view::npos) {
    if (!c->hasError) {
      c->out->diagnostics.push_back(DiagnosticHere(Severity::Error, "compilation stopped here"));
      c->hasError = true;
    }
    c->ended = true;
    return;
  }
  if (s.find("-----Compiled finished.-----") != std::string_view::npos) c->ended = true;
  if (c->ended || c->hasError) return;
  Severity severity = Severity::Warning;
  std::string message = ReportText(s, &severity);
  if (message.empty()) return;
  c->out->diagnostics.push_back(DiagnosticHere(severity, std::move(message)));
  if (severity == Severity::Error) c->hasError = true;
}

FunctionInfo& FunctionNamed(const std::string& name) {
  std::vector<FunctionInfo>& functions = theCollector->out->functions;
  for (FunctionInfo& f : functions) {
    if (f.name == name) return f;
  }
  functions.emplace_back();
  functions.back().name = name;
  return functions.back();
}

Place PlaceOfDeclared(const std::string& name) {
  Collector* c = theCollector;
  return c->pendingName == name ? c->pendingPlace : Here(name.c_str());
}

void NoteFunction(const std::string& name, bool definition) {
  const setup::FunctionEntry* entry = setup::FindFunction(name);
  if (entry == nullptr) return;
  FunctionInfo& f = FunctionNamed(name);
  f.result = TypeName(entry->m_nRetType);
  f.params.clear();
  for (const setup::ParamEntry& p : entry->m_Params)
    f.params.emplace_back(TypeName(p.m_nType), p.m_szName);
  const Place place = PlaceOfDeclared(name);
  if (!definition) {
    f.prototype = place;
    return;
  }
  f.definition = place;
  for (std::size_t i = 0; i < entry->m_Params.size(); ++i) {
    VariableInfo v;
    v.name = entry->m_Params[i].m_szName;
    v.type = TypeName(entry->m_Params[i].m_nType);
    v.function = name;
    v.parameter = true;
    v.at = place;
    for (const auto& [pname, pplace] : theCollector->pendingParams) {
      if (pname == v.name) v.at = pplace;
    }
    theCollector->out->variables.push_back(std::move(v));
  }
}

void NoteVariable(const std::string& name) {
  const setup::Global& g = setup::theGlobal;
  const setup::Variable* variable = nullptr;
  VariableInfo v;
  if (g.m_bInFunction && g.m_szExFunName) {
    const setup::FunctionEntry* function = setup::FindFunction(*g.m_szExFunName);
    if (function == nullptr || function->m_Locals.empty()) return;
    variable = function->m_Locals.back().get();
    v.function = *g.m_szExFunName;
  } else {
    if (setup::theVariables.Empty()) return;
    variable = setup::theVariables.Entries().back().get();
  }
  v.name = name;
  v.type = TypeName(variable->m_nType);
  if (variable->m_pArray) v.dims = variable->m_pArray->m_Dims;
  v.at = PlaceOfDeclared(name);
  theCollector->out->variables.push_back(std::move(v));
}

void NoteMacro(const std::string& name) {
  const setup::MacroEntry* entry = setup::FindMacro(name);
  if (entry == nullptr) return;
  MacroInfo m;
  m.name = name;
  m.hasParams = entry->m_bHasParams;
  for (const setup::ParamEntry& p : entry->m_Params) m.params.push_back(p.m_szName);
  m.body = entry->m_szBody.value_or("");
  m.at = Here(name.c_str());
  theCollector->out->macros.push_back(std::move(m));
}

// Puts the file an include names on the machine where the library will look
// for it, from the document's directory on the host; removes a stale copy
// when the host has none, so that the library reports it missing.
void SupplyInclude(const std::string& path) {
  Collector* c = theCollector;
  const bool absolute =
      (path.size() >= 2 && path[1] == ':') || path.front() == '\\' || path.front() == '/';
  if (absolute || c->source == nullptr) return;
  std::string relative = path;
  std::replace(relative.begin(), relative.end(), '\\', '/');
  const std::string host = (fs::path(c->directory) / relative).lexically_normal().string();
  std::string text;
  const std::string used = (*c->source)(host, &text);
  if (used.empty()) {
    plat::DeleteFileA(path.c_str());
    return;
  }
  sim::PutFile(path, text);
  c->out->includes[path] = used;
}

void Observe(setup::CompileEvent event, const char* name) {
  Collector* c = theCollector;
  if (c == nullptr || !c->compiling || name == nullptr) return;
  switch (event) {
    case setup::CompileEvent::Declaration:
      c->pendingName = name;
      c->pendingPlace = Here(name);
      c->pendingParams.clear();
      break;
    case setup::CompileEvent::Parameter:
      c->pendingParams.emplace_back(name, Here(name));
      break;
    case setup::CompileEvent::Variable:
      NoteVariable(name);
      break;
    case setup::CompileEvent::Prototype:
      NoteFunction(name, false);
      break;
    case setup::CompileEvent::Definition:
      NoteFunction(name, true);
      break;
    case setup::CompileEvent::BodyEnd:
      FunctionNamed(name).bodyEnd = Here("}");
      break;
    case setup::CompileEvent::Macro:
      NoteMacro(name);
      break;
    case setup::CompileEvent::Include:
      if (*name != '\0') SupplyInclude(name);
      break;
  }
}

// The document's tokens, read by the library's lexer.
void ScanTokens(const std::string& path, std::size_t size, std::vector<Token>* tokens) {
  setup::CompileSession session(path.c_str());
  if (!session.Opened()) return;
  const setup::Global& g = setup::theGlobal;
  // Every token but the end takes at least one byte.
  for (std::size_t guard = 0; guard <= size; ++guard) {
    const std::int32_t code = setup::front::GetToken();
    if (code == setup::TK_END) break;
    Token t;
    t.code = code;
    t.text.assign(g.m_szToken, strnlen(g.m_szToken, sizeof g.m_szToken));
    t.line = std::max(g.m_nLineNo - 1, 0);
    t.endColumn = std::max(g.m_nLinePos, 0);
    const int width = static_cast<int>(t.text.size()) + (code == setup::TK_STRING ? 2 : 0);
    t.column = std::max(t.endColumn - width, 0);
    Place place = Place::InDocument(t.line, t.column, t.endColumn);
    ToDocumentLines(place);
    t.line = place.line;
    t.column = place.column;
    t.endColumn = place.endColumn;
    tokens->push_back(std::move(t));
  }
}

// The include directive of `path` at or before `line`: its range.
std::optional<Place> IncludeDirective(const std::vector<Token>& tokens, const std::string& path,
                                      int line) {
  std::optional<Place> found;
  for (std::size_t i = 0; i + 1 < tokens.size() && tokens[i].line <= line; ++i) {
    if (tokens[i].code != setup::TK_INCLUDE || tokens[i + 1].text != path) continue;
    found = Place::InDocument(tokens[i].line, tokens[i].column, tokens[i + 1].endColumn);
    if (tokens[i + 1].line != tokens[i].line) found->endColumn = tokens[i].endColumn;
  }
  return found;
}

// Reports about an include go to its directive rather than to the line the
// reader had gone on to.
void PlaceIncludes(Analysis& result) {
  for (Diagnostic& d : result.diagnostics) {
    std::string path = d.viaInclude;
    if (path.empty()) {
      for (const char* form : {"cannot include '", "file "}) {
        if (d.message.rfind(form, 0) != 0) continue;
        const std::size_t start = std::strlen(form);
        const std::size_t end = d.message.find(form[0] == 'c' ? "'." : " not found.", start);
        if (end != std::string::npos) path = d.message.substr(start, end - start);
      }
    }
    if (path.empty()) continue;
    if (std::optional<Place> at = IncludeDirective(result.tokens, path, d.at.line)) d.at = *at;
  }
}

bool Before(const Place& place, int line, int column) {
  return place.line < line || (place.line == line && place.column < column);
}

}  // namespace

std::string VariableInfo::Declaration() const {
  std::string text = type + " " + name;
  for (std::int32_t d : dims) text += "[" + std::to_string(d) + "]";
  return text;
}

std::string FunctionInfo::Declaration() const {
  std::string text = result + " " + name + "(";
  for (std::size_t i = 0; i < params.size(); ++i) {
    text += (i ? ", " : "") + params[i].first + " " + params[i].second;
  }
  return text + ")";
}

std::string MacroInfo::Definition() const {
  std::string text = "define " + name;
  if (hasParams) {
    text += "(";
    for (std::size_t i = 0; i < params.size(); ++i) text += (i ? ", " : "") + params[i];
    text += ")";
  }
  return text + " " + body;
}

const FunctionInfo* Analysis::FindFunction(const std::string& name) const {
  for (const FunctionInfo& f : functions) {
    if (f.name == name) return &f;
  }
  return nullptr;
}

const MacroInfo* Analysis::FindMacro(const std::string& name) const {
  for (const MacroInfo& m : macros) {
    if (m.name == name) return &m;
  }
  return nullptr;
}

const FunctionInfo* Analysis::FunctionAt(int line, int column) const {
  const FunctionInfo* found = nullptr;
  for (const FunctionInfo& f : functions) {
    if (!f.definition || !f.definition->file.empty() || f.definition->prelude) continue;
    if (!Before(*f.definition, line, column)) continue;
    if (f.bodyEnd &&
        !Before(Place::InDocument(line, column, column), f.bodyEnd->line, f.bodyEnd->column + 1)) {
      continue;
    }
    if (found == nullptr || Before(*found->definition, f.definition->line, f.definition->column)) {
      found = &f;
    }
  }
  return found;
}

const VariableInfo* Analysis::VariableAt(const std::string& name, int line, int column) const {
  if (const FunctionInfo* f = FunctionAt(line, column)) {
    const VariableInfo* local = nullptr;
    for (const VariableInfo& v : variables) {
      if (v.function != f->name || v.name != name) continue;
      if (v.parameter || !v.at.file.empty() || v.at.line < line ||
          (v.at.line == line && v.at.column <= column)) {
        local = &v;
        break;  // the compiler takes the first local of a name
      }
    }
    if (local != nullptr) return local;
  }
  for (const VariableInfo& v : variables) {
    if (v.function.empty() && v.name == name) return &v;
  }
  return nullptr;
}

int Analysis::TokenAt(int line, int column) const {
  auto after = std::upper_bound(tokens.begin(), tokens.end(), std::make_pair(line, column),
                                [](const std::pair<int, int>& pos, const Token& t) {
                                  return pos.first < t.line ||
                                         (pos.first == t.line && pos.second < t.column);
                                });
  if (after == tokens.begin()) return -1;
  return static_cast<int>(after - tokens.begin()) - 1;
}

Analyzer::Analyzer() {
  std::string error;
  if (!sim::Boot("", &error)) {
    m_Problem = "cannot start the simulated machine: " + error;
    return;
  }
  sim::SetStdoutSink(OnOutput);
  sim::SetEventSink([](const std::string&) {});
  // The library loads from a module whose package holds one (empty) script:
  // the file every analysis rewrites, as setup-run --check rewrites its script.
  std::vector<char> module;
  if (!setup::pack::AppendPackage(module, {{kScriptName, {}}}, &error) ||
      !sim::SetModule(kModule, kModulePath, module) ||
      !setup::DllMain(kModule, setup::kDllProcessAttach, nullptr)) {
    m_Problem = "the library did not load: " + error;
    sim::Shutdown();
    return;
  }
  LoadCatalog();
  setup::theGlobal.m_pCompileObserver = Observe;
  m_bReady = true;
}

Analyzer::~Analyzer() {
  if (!m_bReady) return;
  setup::theGlobal.m_pCompileObserver = nullptr;
  setup::DllMain(kModule, setup::kDllProcessDetach, nullptr);
  sim::SetStdoutSink(nullptr);
  sim::Shutdown();
}

Analysis Analyzer::Analyze(const std::string& text, const std::string& directory,
                           const IncludeSource& source) {
  Analysis result;
  result.lineCount = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
  if (!m_bReady) {
    Diagnostic d;
    d.message = "setup-lsp: " + m_Problem;
    result.diagnostics.push_back(std::move(d));
    return result;
  }
  Collector collector;
  collector.out = &result;
  collector.scriptPath = CurrentFile();
  collector.directory = directory;
  collector.source = &source;
  collector.pieces = ReaderPieces(text);
  theCollector = &collector;

  sim::PutFile(collector.scriptPath, text);
  ScanTokens(collector.scriptPath, text.size(), &result.tokens);
  for (const Token& t : result.tokens) {
    if (t.code == setup::TK_IDENT && t.text == "_Parameters") {
      result.usesParameters = true;
      break;
    }
  }
  // The library declares _Parameters only for a command with a parameter.
  result.command = result.usesParameters ? kParameterCommand : "";
  collector.compiling = true;
  std::string problem;
  const scriptcheck::Outcome outcome = scriptcheck::CompileForCommand(result.command, &problem);
  collector.compiling = false;
  theCollector = nullptr;
  result.compiled = outcome == scriptcheck::Outcome::Compiled;
  if (outcome == scriptcheck::Outcome::NotPrepared ||
      outcome == scriptcheck::Outcome::CommandRefused) {
    Diagnostic d;
    d.message = "setup-lsp: " + problem;
    result.diagnostics.push_back(std::move(d));
  }
  PlaceIncludes(result);
  for (Diagnostic& d : result.diagnostics) {
    d.at.line = std::min(d.at.line, result.lineCount - 1);
    if (d.severity == Severity::Error && result.errorLine < 0) result.errorLine = d.at.line;
  }
  if (!result.compiled && result.errorLine < 0) result.errorLine = result.lineCount - 1;
  if (result.usesParameters) {
    for (const Token& t : result.tokens) {
      if (t.code != setup::TK_IDENT || t.text != "_Parameters") continue;
      Diagnostic note;
      note.at = Place::InDocument(t.line, t.column, t.endColumn);
      note.severity = Severity::Information;
      note.message = std::string("checked as with one command parameter (") + kParameterCommand +
                     "): the library declares _Parameters only when the command has one";
      result.diagnostics.push_back(std::move(note));
      break;
    }
  }
  return result;
}

void KeepLastGood(Analysis& fresh, const Analysis& good) {
  if (fresh.compiled || fresh.errorLine < 0) return;
  const int delta = fresh.lineCount - good.lineCount;
  auto moved = [&](Place place, Place* out) {
    if (!place.file.empty() || place.prelude) {
      *out = place;
      return false;
    }
    place.line += delta;
    *out = place;
    return place.line > fresh.errorLine && place.line < fresh.lineCount;
  };
  for (const FunctionInfo& f : good.functions) {
    if (fresh.FindFunction(f.name) != nullptr) {
      // A prototype read before the error, its body past it.
      for (FunctionInfo& mine : fresh.functions) {
        Place at;
        if (mine.name != f.name || mine.definition || !f.definition || !moved(*f.definition, &at)) {
          continue;
        }
        mine.definition = at;
        if (f.bodyEnd && moved(*f.bodyEnd, &at)) mine.bodyEnd = at;
      }
      continue;
    }
    FunctionInfo copy = f;
    if (!f.prototype && !f.definition) continue;
    const Place& first = f.prototype ? *f.prototype : *f.definition;
    Place at;
    if (!moved(first, &at) || !at.file.empty()) continue;
    if (copy.prototype) moved(*f.prototype, &*copy.prototype);
    if (copy.definition) moved(*f.definition, &*copy.definition);
    if (copy.bodyEnd) moved(*f.bodyEnd, &*copy.bodyEnd);
    fresh.functions.push_back(std::move(copy));
  }
  std::unordered_set<std::string> known;  // name and function of each variable
  for (const VariableInfo& w : fresh.variables) known.insert(w.name + '\0' + w.function);
  for (const VariableInfo& v : good.variables) {
    VariableInfo copy = v;
    if (known.count(v.name + '\0' + v.function) != 0 || !moved(v.at, &copy.at)) continue;
    fresh.variables.push_back(std::move(copy));
  }
  for (const MacroInfo& m : good.macros) {
    MacroInfo copy = m;
    if (fresh.FindMacro(m.name) != nullptr || !moved(m.at, &copy.at)) continue;
    fresh.macros.push_back(std::move(copy));
  }
}

}  // namespace lsp
