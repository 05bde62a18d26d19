// The language server's requests and notifications.
#include "server.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <unordered_set>

#include "catalog.h"
#include "framing.h"
#include "script/front/lexer.h"

namespace lsp {

namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr const char* kVersion = "1.0";

// CompletionItemKind and SymbolKind values of the protocol.
constexpr int kItemFunction = 3, kItemVariable = 6, kItemKeyword = 14, kItemConstant = 21,
              kItemSnippet = 15;
constexpr int kSymbolFunction = 12, kSymbolVariable = 13, kSymbolConstant = 14, kSymbolArray = 18;

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::vector<std::size_t> LineStarts(const std::string& text) {
  std::vector<std::size_t> starts{0};
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n') starts.push_back(i + 1);
  }
  return starts;
}

std::string_view LineText(const std::string& text, const std::vector<std::size_t>& starts,
                          int line) {
  if (line < 0 || static_cast<std::size_t>(line) >= starts.size()) return {};
  const std::size_t begin = starts[static_cast<std::size_t>(line)];
  std::size_t end = static_cast<std::size_t>(line) + 1 < starts.size()
                        ? starts[static_cast<std::size_t>(line) + 1]
                        : text.size();
  while (end > begin && (text[end - 1] == '\n' || text[end - 1] == '\r')) --end;
  return std::string_view(text).substr(begin, end - begin);
}

// UTF-16 units of the first `bytes` bytes of a line (bytes that are not
// UTF-8 count one unit each).
int Utf16Units(std::string_view line, int bytes) {
  int units = 0;
  const auto end = static_cast<std::size_t>(std::clamp(bytes, 0, static_cast<int>(line.size())));
  for (std::size_t i = 0; i < end;) {
    const auto c = static_cast<unsigned char>(line[i]);
    const int length = c < 0x80 ? 1 : c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
    units += length == 4 ? 2 : 1;
    i += static_cast<std::size_t>(length);
  }
  return units + std::max(bytes - static_cast<int>(line.size()), 0);
}

int BytesOfUnits(std::string_view line, int units) {
  std::size_t i = 0;
  int counted = 0;
  while (i < line.size() && counted < units) {
    const auto c = static_cast<unsigned char>(line[i]);
    const int length = c < 0x80 ? 1 : c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
    counted += length == 4 ? 2 : 1;
    i = std::min(line.size(), i + static_cast<std::size_t>(length));
  }
  return static_cast<int>(i);
}

json Markdown(const std::string& code, const std::string& text) {
  std::string value = "```setup-script\n" + code + "\n```";
  if (!text.empty()) value += "\n\n" + text;
  return json{{"kind", "markdown"}, {"value", value}};
}

std::string WhereText(const Place& place) {
  if (place.prelude) return "the parameter prelude";
  const std::string line = "line " + std::to_string(place.line + 1);
  return place.file.empty() ? line : place.file + ", " + line;
}

bool IsNameToken(std::int32_t code) {
  return code == setup::TK_IDENT || code == setup::TK_CONST ||
         (code >= setup::TK_BUILTIN_FIRST && code <= setup::TK_BUILTIN_LAST);
}

// A line or character of a position: an integer, clamped to what a document
// can have.
int Coordinate(const json& value) {
  if (!value.is_number_integer()) throw std::invalid_argument("a position needs integers");
  if (value.is_number_unsigned()) {
    return static_cast<int>(std::min<std::uint64_t>(value.get<std::uint64_t>(), INT_MAX));
  }
  return static_cast<int>(std::clamp<std::int64_t>(value.get<std::int64_t>(), 0, INT_MAX));
}

std::string Snippet(const std::string& name,
                    const std::vector<std::pair<std::string, std::string>>& params) {
  std::string text = name + "(";
  for (std::size_t i = 0; i < params.size(); ++i) {
    text += (i ? ", " : "") + std::string("${") + std::to_string(i + 1) + ":" + params[i].first +
            " " + params[i].second + "}";
  }
  return text + ")";
}

}  // namespace

std::string PathFromUri(const std::string& uri) {
  if (uri.rfind("file://", 0) != 0) return std::string();
  std::string path;
  std::size_t i = 7;
  // file://host/path: only the local host is a host path.
  if (i < uri.size() && uri[i] != '/') {
    const std::size_t slash = uri.find('/', i);
    if (slash == std::string::npos || uri.compare(i, slash - i, "localhost") != 0) return {};
    i = slash;
  }
  for (; i < uri.size(); ++i) {
    if (uri[i] == '%' && i + 2 < uri.size() && HexValue(uri[i + 1]) >= 0 &&
        HexValue(uri[i + 2]) >= 0) {
      path += static_cast<char>(HexValue(uri[i + 1]) * 16 + HexValue(uri[i + 2]));
      i += 2;
    } else {
      path += uri[i];
    }
  }
  return path;
}

std::string UriFromPath(const std::string& path) {
  static const char* const kHex = "0123456789ABCDEF";
  std::string uri = "file://";
  for (char ch : path) {
    const auto c = static_cast<unsigned char>(ch);
    if (std::isalnum(c) || std::string_view("/-._~").find(ch) != std::string_view::npos) {
      uri += ch;
    } else {
      uri += '%';
      uri += kHex[c >> 4];
      uri += kHex[c & 15];
    }
  }
  return uri;
}

Server::Server(std::function<void(const std::string&)> send) : m_Send(std::move(send)) {}

Server::Server(std::function<void(const std::string&)> send, Analyzer* analyzer)
    : m_Send(std::move(send)), m_pAnalyzer(analyzer) {}

void Server::Reply(const json& id, json result) {
  m_Send(json{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}}.dump(
      -1, ' ', false, json::error_handler_t::replace));
}

void Server::ReplyError(const json& id, int code, const std::string& message) {
  m_Send(
      json{{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}}.dump(
          -1, ' ', false, json::error_handler_t::replace));
}

void Server::Notify(const std::string& method, json params) {
  m_Send(json{{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}}.dump(
      -1, ' ', false, json::error_handler_t::replace));
}

void Server::HandleBadHeader(const std::string& problem) {
  ReplyError(nullptr, kParseError, "message skipped: " + problem);
}

void Server::HandleBody(std::string_view body) {
  json message = json::parse(body, nullptr, false);
  if (message.is_discarded()) {
    ReplyError(nullptr, kParseError, "the message is not JSON");
    return;
  }
  Handle(message);
}

void Server::Handle(const json& message) {
  const bool hasId = message.is_object() && message.contains("id") &&
                     (message["id"].is_number_integer() || message["id"].is_string());
  const json id = hasId ? message["id"] : json(nullptr);
  if (!message.is_object() || !message.contains("method") || !message["method"].is_string()) {
    // Responses to requests of ours would carry no method; the server sends none.
    if (message.is_object() && message.contains("id") &&
        (message.contains("result") || message.contains("error"))) {
      return;
    }
    ReplyError(id, kInvalidRequest, "not a request or notification");
    return;
  }
  const std::string method = message["method"];
  // A reference: copying a deeply nested value would recurse.
  static const json kNoParams = json::object();
  const json& params = message.contains("params") ? message["params"] : kNoParams;
  const bool request = message.contains("id");

  if (method == "exit") {
    m_bExited = true;
    return;
  }
  if (request && !m_bInitialized && method != "initialize") {
    ReplyError(id, kServerNotInitialized, "the server is not initialized");
    return;
  }
  if (request && m_bShutdown) {
    ReplyError(id, kInvalidRequest, "the server is shutting down");
    return;
  }
  try {
    if (method == "initialize") {
      Reply(id, Initialize(params));
    } else if (method == "shutdown") {
      m_bShutdown = true;
      Reply(id, nullptr);
    } else if (method == "textDocument/didOpen") {
      if (m_bInitialized)
        Open(params.at("textDocument").at("uri"), params.at("textDocument").at("text"));
    } else if (method == "textDocument/didChange") {
      Document* doc = Find(params);
      const json& changes = params.at("contentChanges");
      if (doc != nullptr && changes.is_array() && !changes.empty()) {
        // Full sync: the last change holds the whole text.
        doc->text = changes.back().at("text").get<std::string>();
        Analyze(*doc);
        Publish(*doc);
      }
    } else if (method == "textDocument/didSave") {
      if (Document* doc = Find(params)) {
        if (params.contains("text") && params["text"].is_string()) doc->text = params["text"];
        Analyze(*doc);
        Publish(*doc);
        // Documents that include the saved file see its new text.
        for (auto& [uri, other] : m_Documents) {
          if (&other == doc || doc->path.empty()) continue;
          for (const auto& [given, host] : other.analysis.includes) {
            if (host != doc->path) continue;
            Analyze(other);
            Publish(other);
            break;
          }
        }
      }
    } else if (method == "textDocument/didClose") {
      if (Document* doc = Find(params)) {
        Notify("textDocument/publishDiagnostics",
               {{"uri", doc->uri}, {"diagnostics", json::array()}});
        m_Documents.erase(doc->uri);
      }
    } else if (method == "textDocument/hover" || method == "textDocument/completion" ||
               method == "textDocument/definition" || method == "textDocument/signatureHelp") {
      Document* doc = Find(params);
      if (doc == nullptr) {
        ReplyError(id, kInvalidParams, "the document is not open");
        return;
      }
      const int line = Coordinate(params.at("position").at("line"));
      const int column = ByteColumn(*doc, line, Coordinate(params.at("position").at("character")));
      if (method == "textDocument/hover") Reply(id, Hover(*doc, line, column));
      if (method == "textDocument/completion") Reply(id, Completion(*doc, line, column));
      if (method == "textDocument/definition") Reply(id, Definition(*doc, line, column));
      if (method == "textDocument/signatureHelp") Reply(id, SignatureHelp(*doc, line, column));
    } else if (method == "textDocument/documentSymbol") {
      Document* doc = Find(params);
      if (doc == nullptr) {
        ReplyError(id, kInvalidParams, "the document is not open");
        return;
      }
      Reply(id, Symbols(*doc));
    } else if (method == "initialized" || method.rfind("$/", 0) == 0 ||
               method == "workspace/didChangeConfiguration") {
      // Nothing to do; a "$/" request still gets an answer below.
      if (request) ReplyError(id, kMethodNotFound, "unknown method: " + method);
    } else if (request) {
      ReplyError(id, kMethodNotFound, "unknown method: " + method);
    }
  } catch (const std::exception& e) {
    if (request) ReplyError(id, kInvalidParams, std::string("invalid parameters: ") + e.what());
  }
}

json Server::Initialize(const json& params) {
  m_bInitialized = true;
  if (m_pAnalyzer == nullptr) {
    m_pOwnAnalyzer = std::make_unique<Analyzer>();
    m_pAnalyzer = m_pOwnAnalyzer.get();
  }
  const json* general = nullptr;
  if (params.is_object() && params.contains("capabilities") && params["capabilities"].is_object()) {
    const json& caps = params["capabilities"];
    if (caps.contains("general") && caps["general"].is_object()) general = &caps["general"];
    const json::json_pointer snippet("/textDocument/completion/completionItem/snippetSupport");
    m_bSnippets = caps.contains(snippet) && caps[snippet].is_boolean() && caps[snippet].get<bool>();
  }
  if (general != nullptr && general->contains("positionEncodings") &&
      (*general)["positionEncodings"].is_array()) {
    for (const json& e : (*general)["positionEncodings"]) m_bUtf8 = m_bUtf8 || e == "utf-8";
  }
  json capabilities = {
      {"positionEncoding", m_bUtf8 ? "utf-8" : "utf-16"},
      {"textDocumentSync",
       {{"openClose", true}, {"change", 1}, {"save", {{"includeText", false}}}}},
      {"hoverProvider", true},
      {"completionProvider", {{"triggerCharacters", json::array()}, {"resolveProvider", false}}},
      {"definitionProvider", true},
      {"documentSymbolProvider", true},
      {"signatureHelpProvider", {{"triggerCharacters", {"(", ","}}}},
  };
  return {{"capabilities", capabilities},
          {"serverInfo", {{"name", "setup-lsp"}, {"version", kVersion}}}};
}

Server::Document* Server::Find(const json& params) {
  const std::string uri = params.at("textDocument").at("uri");
  auto it = m_Documents.find(uri);
  return it == m_Documents.end() ? nullptr : &it->second;
}

void Server::Open(const std::string& uri, std::string text) {
  Document& doc = m_Documents[uri];
  doc.uri = uri;
  doc.path = PathFromUri(uri);
  doc.text = std::move(text);
  doc.lastGood.reset();
  Analyze(doc);
  Publish(doc);
}

std::string Server::IncludeText(const std::string& hostPath, std::string* text) const {
  for (const auto& [uri, doc] : m_Documents) {
    if (!doc.path.empty() && doc.path == hostPath) {
      *text = doc.text;
      return hostPath;
    }
  }
  // Regular files only, opened without blocking: an include that names a
  // pipe or a device must not stall the server.
  const int fd = ::open(hostPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return std::string();
  struct stat info = {};
  bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  text->clear();
  char block[65536];
  while (ok) {
    const ssize_t n = ::read(fd, block, sizeof block);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      ok = n == 0;
      break;
    }
    text->append(block, static_cast<std::size_t>(n));
    ok = text->size() <= kMaxBody;
  }
  ::close(fd);
  return ok ? hostPath : std::string();
}

void Server::Analyze(Document& doc) {
  doc.lineStarts = LineStarts(doc.text);
  const std::string directory =
      doc.path.empty() ? std::string() : fs::path(doc.path).parent_path().string();
  doc.analysis = m_pAnalyzer->Analyze(doc.text, directory,
                                      [this](const std::string& hostPath, std::string* text) {
                                        return IncludeText(hostPath, text);
                                      });
  if (doc.analysis.compiled) {
    doc.lastGood = doc.analysis;
    doc.lastGood->tokens.clear();  // only its symbols are kept
  } else if (doc.lastGood) {
    KeepLastGood(doc.analysis, *doc.lastGood);
  }
}

void Server::Publish(const Document& doc) {
  json list = json::array();
  for (const Diagnostic& d : doc.analysis.diagnostics) {
    json item = {{"range", Range(&doc, d.at)},
                 {"severity", static_cast<int>(d.severity)},
                 {"source", "setup-lsp"},
                 {"message", d.message}};
    if (d.inInclude) {
      auto host = doc.analysis.includes.find(d.inInclude->file);
      const std::string where = d.inInclude->file + ":" + std::to_string(d.inInclude->line + 1);
      item["message"] = d.message + " (in " + where + ")";
      if (host != doc.analysis.includes.end()) {
        item["relatedInformation"] = json::array(
            {{{"location",
               {{"uri", UriFromPath(host->second)}, {"range", Range(nullptr, *d.inInclude)}}},
              {"message", "the error is here"}}});
      }
    }
    list.push_back(std::move(item));
  }
  Notify("textDocument/publishDiagnostics", {{"uri", doc.uri}, {"diagnostics", std::move(list)}});
}

int Server::ByteColumn(const Document& doc, int line, int character) const {
  if (m_bUtf8) return std::max(character, 0);
  return BytesOfUnits(LineText(doc.text, doc.lineStarts, line), std::max(character, 0));
}

json Server::Position(const Document* doc, int line, int column) const {
  int character = column;
  if (doc != nullptr && !m_bUtf8)
    character = Utf16Units(LineText(doc->text, doc->lineStarts, line), column);
  return {{"line", std::max(line, 0)}, {"character", std::max(character, 0)}};
}

json Server::Range(const Document* doc, const Place& place) const {
  return {{"start", Position(doc, place.line, place.column)},
          {"end", Position(doc, place.line, std::max(place.endColumn, place.column))}};
}

std::optional<json> Server::Location(const Document& doc, const Place& place) {
  if (place.prelude) return std::nullopt;
  if (place.file.empty()) return json{{"uri", doc.uri}, {"range", Range(&doc, place)}};
  auto host = doc.analysis.includes.find(place.file);
  if (host == doc.analysis.includes.end()) return std::nullopt;
  const std::string uri = UriFromPath(host->second);
  auto open = m_Documents.find(uri);
  return json{{"uri", uri},
              {"range", Range(open != m_Documents.end() ? &open->second : nullptr, place)}};
}

namespace {

// The token at a position; a name that ends right at it wins over the
// punctuation that starts there (the cursor just after a word).
int WordAt(const Analysis& a, int line, int column) {
  int index = a.TokenAt(line, column);
  if (index < 0) return index;
  const Token& t = a.tokens[static_cast<std::size_t>(index)];
  if (index > 0 && !IsNameToken(t.code) && t.column == column) {
    const Token& before = a.tokens[static_cast<std::size_t>(index) - 1];
    if (IsNameToken(before.code) && before.line == line && before.endColumn == column) --index;
  }
  return index;
}

}  // namespace

json Server::Hover(Document& doc, int line, int column) {
  const Analysis& a = doc.analysis;
  const int index = WordAt(a, line, column);
  if (index < 0) return nullptr;
  const Token& t = a.tokens[static_cast<std::size_t>(index)];
  if (t.line != line || column > t.endColumn) return nullptr;
  json range = Range(&doc, Place::InDocument(t.line, t.column, t.endColumn));
  json contents;
  if (const MacroInfo* m = a.FindMacro(t.text)) {
    contents = Markdown(m->Definition(), "Macro, defined at " + WhereText(m->at) + ".");
  } else if (const BuiltinInfo* b = FindBuiltinInfo(t.text); b != nullptr &&
                                                             t.code >= setup::TK_BUILTIN_FIRST &&
                                                             t.code <= setup::TK_BUILTIN_LAST) {
    std::string text = b->description;
    if (!b->params.empty()) {
      text += "\n\nParameters:";
      for (const auto& [type, name] : b->params) text += "\n- `" + name + "`: " + type;
    }
    text += "\n\nResult: " + b->result + ".";
    contents = Markdown(b->Signature(), "Built-in. " + text);
  } else if (const ConstantInfo* c = FindConstant(t.text);
             c != nullptr && t.code == setup::TK_CONST) {
    std::string note = "Predefined constant.";
    if (t.text.rfind("WINDIR", 0) == 0)
      note +=
          " The value the default machine profile gives it; it follows the Windows directory of "
          "the machine that runs the script.";
    contents = Markdown(
        c->type + " " + c->name + " = " + (c->type == "string" ? "\"" + c->value + "\"" : c->value),
        note);
  } else if (const FunctionInfo* f = a.FindFunction(t.text)) {
    std::string text = "Function";
    if (f->definition) text += ", defined at " + WhereText(*f->definition);
    if (f->prototype)
      text += std::string(f->definition ? "; " : ", ") + "declared at " + WhereText(*f->prototype);
    if (!f->definition) text += " (no body yet)";
    contents = Markdown(f->Declaration(), text + ".");
  } else if (const VariableInfo* v = a.VariableAt(t.text, line, column)) {
    std::string text;
    if (v->at.prelude) {
      text = v->name == "_Parameters"
                 ? std::string(
                       "Declared by the prelude: the command's parameters. Checked as with one "
                       "command parameter (") +
                       Analyzer::kParameterCommand +
                       "); its size is the number of parameters the installer passes."
                 : "Declared by the prelude: the number of the command's parameters.";
    } else if (v->parameter) {
      text = "Parameter of `" + v->function + "`, " + WhereText(v->at) + ".";
    } else if (!v->function.empty()) {
      text = "Local variable of `" + v->function + "`, declared at " + WhereText(v->at) + ".";
    } else {
      text = "Global variable, declared at " + WhereText(v->at) + ".";
    }
    contents = Markdown(v->Declaration(), text);
  } else {
    return nullptr;
  }
  return {{"contents", contents}, {"range", range}};
}

json Server::Completion(Document& doc, int line, int column) {
  const Analysis& a = doc.analysis;
  json items = json::array();
  auto add = [&](const std::string& label, int kind, const std::string& detail, json documentation,
                 const std::string& snippet) {
    json item = {{"label", label}, {"kind", kind}, {"detail", detail}};
    if (!documentation.is_null()) item["documentation"] = std::move(documentation);
    if (!snippet.empty() && m_bSnippets) {
      item["insertText"] = snippet;
      item["insertTextFormat"] = 2;
    }
    items.push_back(std::move(item));
  };
  for (const std::string& keyword : Keywords()) add(keyword, kItemKeyword, "keyword", nullptr, "");
  for (const ConstantInfo& c : Constants())
    add(c.name, kItemConstant, c.type + " = " + c.value, nullptr, "");
  for (const BuiltinInfo& b : Builtins()) {
    add(b.name, kItemFunction, b.Signature(), json{{"kind", "markdown"}, {"value", b.description}},
        Snippet(b.name, b.params));
  }
  for (const MacroInfo& m : a.macros) {
    std::string snippet;
    if (m.hasParams) {
      snippet = m.name + "(";
      for (std::size_t i = 0; i < m.params.size(); ++i) {
        snippet +=
            (i ? ", " : "") + std::string("${") + std::to_string(i + 1) + ":" + m.params[i] + "}";
      }
      snippet += ")";
    }
    add(m.name, m.hasParams ? kItemSnippet : kItemConstant, m.Definition(), nullptr, snippet);
  }
  for (const FunctionInfo& f : a.functions)
    add(f.name, kItemFunction, f.Declaration(), nullptr, Snippet(f.name, f.params));
  // Variables: the enclosing function's parameters and earlier locals, then
  // the globals declared before the position (or in the prelude and includes).
  const FunctionInfo* here = a.FunctionAt(line, column);
  std::unordered_set<std::string> seen;
  auto visible = [&](const VariableInfo& v) {
    if (!seen.insert(v.name).second) return;
    add(v.name, kItemVariable, v.Declaration(), nullptr, "");
  };
  for (const VariableInfo& v : a.variables) {
    if (here == nullptr || v.function != here->name) continue;
    if (v.parameter || !v.at.file.empty() || v.at.line < line ||
        (v.at.line == line && v.at.endColumn <= column)) {
      visible(v);
    }
  }
  for (const VariableInfo& v : a.variables) {
    if (!v.function.empty()) continue;
    if (v.at.prelude || !v.at.file.empty() || v.at.line < line ||
        (v.at.line == line && v.at.endColumn <= column)) {
      visible(v);
    }
  }
  return {{"isIncomplete", false}, {"items", std::move(items)}};
}

json Server::Definition(Document& doc, int line, int column) {
  const Analysis& a = doc.analysis;
  const int index = WordAt(a, line, column);
  if (index < 0) return nullptr;
  const Token& t = a.tokens[static_cast<std::size_t>(index)];
  if (t.line != line || column > t.endColumn) return nullptr;
  json locations = json::array();
  auto add = [&](const Place& place) {
    if (std::optional<json> location = Location(doc, place))
      locations.push_back(std::move(*location));
  };
  // The path of an include.
  if (t.code == setup::TK_STRING && index > 0 &&
      a.tokens[static_cast<std::size_t>(index) - 1].code == setup::TK_INCLUDE) {
    auto host = a.includes.find(t.text);
    std::string path = host != a.includes.end() ? host->second : std::string();
    if (path.empty() && !doc.path.empty()) {
      std::string relative = t.text;
      std::replace(relative.begin(), relative.end(), '\\', '/');
      std::string text;
      path = IncludeText((fs::path(doc.path).parent_path() / relative).lexically_normal().string(),
                         &text);
    }
    if (path.empty()) return nullptr;
    return json{
        {"uri", UriFromPath(path)},
        {"range",
         {{"start", {{"line", 0}, {"character", 0}}}, {"end", {{"line", 0}, {"character", 0}}}}}};
  }
  if (!IsNameToken(t.code)) return nullptr;
  if (const MacroInfo* m = a.FindMacro(t.text)) {
    add(m->at);
  } else if (const FunctionInfo* f = a.FindFunction(t.text)) {
    if (f->prototype) add(*f->prototype);
    if (f->definition) add(*f->definition);
  } else if (const VariableInfo* v = a.VariableAt(t.text, line, column)) {
    add(v->at);
  }
  if (locations.empty()) return nullptr;
  return locations;
}

json Server::Symbols(Document& doc) {
  const Analysis& a = doc.analysis;
  json symbols = json::array();
  auto inDocument = [](const Place& p) { return p.file.empty() && !p.prelude; };
  auto symbol = [&](const std::string& name, const std::string& detail, int kind, const Place& at,
                    const Place& end) {
    Place whole = at;
    whole.column = 0;
    whole.line = at.line;
    Place last = end;
    json range = {{"start", Position(&doc, at.line, 0)},
                  {"end", Position(&doc, last.line, std::max(last.endColumn, last.column))}};
    if (last.line == at.line && last.endColumn <= at.endColumn)
      range["end"] = Position(&doc, at.line, at.endColumn);
    return json{{"name", name},
                {"detail", detail},
                {"kind", kind},
                {"range", range},
                {"selectionRange", Range(&doc, at)}};
  };
  for (const MacroInfo& m : a.macros) {
    if (inDocument(m.at))
      symbols.push_back(symbol(m.name, m.Definition(), kSymbolConstant, m.at, m.at));
  }
  for (const VariableInfo& v : a.variables) {
    if (v.function.empty() && inDocument(v.at)) {
      symbols.push_back(symbol(v.name, v.Declaration(),
                               v.dims.empty() ? kSymbolVariable : kSymbolArray, v.at, v.at));
    }
  }
  for (const FunctionInfo& f : a.functions) {
    const Place* at = f.definition && inDocument(*f.definition) ? &*f.definition
                      : f.prototype && inDocument(*f.prototype) ? &*f.prototype
                                                                : nullptr;
    if (at == nullptr) continue;
    json item = symbol(f.name, f.Declaration(), kSymbolFunction, *at,
                       f.bodyEnd && at == &*f.definition ? *f.bodyEnd : *at);
    json children = json::array();
    if (at == &*f.definition) {
      for (const VariableInfo& v : a.variables) {
        if (v.function == f.name && inDocument(v.at)) {
          children.push_back(symbol(v.name, v.Declaration(),
                                    v.dims.empty() ? kSymbolVariable : kSymbolArray, v.at, v.at));
        }
      }
    }
    item["children"] = std::move(children);
    symbols.push_back(std::move(item));
  }
  std::sort(symbols.begin(), symbols.end(), [](const json& x, const json& y) {
    return x["selectionRange"]["start"]["line"].get<int>() <
           y["selectionRange"]["start"]["line"].get<int>();
  });
  return symbols;
}

json Server::SignatureHelp(Document& doc, int line, int column) {
  const Analysis& a = doc.analysis;
  // Back from the position to the '(' that is still open, counting the
  // commas at its level.
  int index = a.TokenAt(line, column);
  if (index >= 0) {
    const Token& t = a.tokens[static_cast<std::size_t>(index)];
    // A token that ends after the position is not before it.
    if (t.line == line && t.column >= column) --index;
  }
  int depth = 0, commas = 0;
  for (; index >= 0; --index) {
    const Token& t = a.tokens[static_cast<std::size_t>(index)];
    if (t.code == setup::TK_RPAREN) ++depth;
    if (t.code == setup::TK_SEMICOLON || t.code == setup::TK_LBRACE || t.code == setup::TK_RBRACE)
      return nullptr;
    if (t.code == setup::TK_COMMA && depth == 0) ++commas;
    if (t.code == setup::TK_LPAREN) {
      if (depth == 0) break;
      --depth;
    }
  }
  if (index <= 0) return nullptr;
  const Token& callee = a.tokens[static_cast<std::size_t>(index) - 1];
  std::string label, documentation;
  std::vector<std::string> params;
  if (const MacroInfo* m = a.FindMacro(callee.text); m != nullptr && m->hasParams) {
    label = m->name + "(";
    for (std::size_t i = 0; i < m->params.size(); ++i) label += (i ? ", " : "") + m->params[i];
    label += ")";
    params = m->params;
    documentation = "Macro: " + m->body;
  } else if (const BuiltinInfo* b = FindBuiltinInfo(callee.text)) {
    label = b->Signature();
    for (const auto& [type, name] : b->params) params.push_back(type + " " + name);
    documentation = b->description;
  } else if (const FunctionInfo* f = a.FindFunction(callee.text)) {
    label = f->Declaration();
    for (const auto& [type, name] : f->params) params.push_back(type + " " + name);
  } else {
    return nullptr;
  }
  json parameters = json::array();
  for (const std::string& p : params) parameters.push_back({{"label", p}});
  json signature = {{"label", label}, {"parameters", parameters}};
  if (!documentation.empty()) signature["documentation"] = documentation;
  return {{"signatures", json::array({signature})},
          {"activeSignature", 0},
          {"activeParameter",
           params.empty() ? 0 : std::min<int>(commas, static_cast<int>(params.size()) - 1)}};
}

}  // namespace lsp
