// The language server: JSON-RPC requests and notifications in, responses
// and published diagnostics out.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis.h"

namespace lsp {

// JSON-RPC error codes the server answers with.
constexpr int kParseError = -32700;
constexpr int kInvalidRequest = -32600;
constexpr int kMethodNotFound = -32601;
constexpr int kInvalidParams = -32602;
constexpr int kServerNotInitialized = -32002;

class Server {
 public:
  // `send` writes one framed message to the client.
  explicit Server(std::function<void(const std::string& body)> send);
  // A server that uses `analyzer` (kept by the caller) instead of loading
  // the library itself: many servers in one process, one after the other.
  Server(std::function<void(const std::string& body)> send, Analyzer* analyzer);

  // One message body as it arrived (JSON or not).
  void HandleBody(std::string_view body);
  // A message whose header was unusable and was skipped.
  void HandleBadHeader(const std::string& problem);

  // After `exit`: the process ends with ExitCode().
  bool Exited() const { return m_bExited; }
  int ExitCode() const { return m_bShutdown ? 0 : 1; }

 private:
  struct Document {
    std::string uri;
    std::string path;  // host path for file URIs, else empty
    std::string text;
    std::vector<std::size_t> lineStarts;
    Analysis analysis;
    std::optional<Analysis> lastGood;
  };

  void Handle(const nlohmann::json& message);
  void Reply(const nlohmann::json& id, nlohmann::json result);
  void ReplyError(const nlohmann::json& id, int code, const std::string& message);
  void Notify(const std::string& method, nlohmann::json params);

  nlohmann::json Initialize(const nlohmann::json& params);
  void Open(const std::string& uri, std::string text);
  void Analyze(Document& doc);
  void Publish(const Document& doc);
  Document* Find(const nlohmann::json& params);

  nlohmann::json Hover(Document& doc, int line, int column);
  nlohmann::json Completion(Document& doc, int line, int column);
  nlohmann::json Definition(Document& doc, int line, int column);
  nlohmann::json Symbols(Document& doc);
  nlohmann::json SignatureHelp(Document& doc, int line, int column);

  // Positions: the client's (UTF-16 or UTF-8 columns) and the byte columns.
  int ByteColumn(const Document& doc, int line, int character) const;
  nlohmann::json Position(const Document* doc, int line, int column) const;
  nlohmann::json Range(const Document* doc, const Place& place) const;
  // The location of a place: the document, an included file or none.
  std::optional<nlohmann::json> Location(const Document& doc, const Place& place);
  std::string IncludeText(const std::string& hostPath, std::string* text) const;

  std::function<void(const std::string&)> m_Send;
  std::unique_ptr<Analyzer> m_pOwnAnalyzer;  // loaded at initialize
  Analyzer* m_pAnalyzer = nullptr;
  std::map<std::string, Document> m_Documents;
  bool m_bInitialized = false;
  bool m_bShutdown = false;
  bool m_bExited = false;
  bool m_bUtf8 = false;      // positions count bytes instead of UTF-16 units
  bool m_bSnippets = false;  // the client takes snippet completions
};

// file:// URIs and host paths.
std::string PathFromUri(const std::string& uri);
std::string UriFromPath(const std::string& path);

}  // namespace lsp
