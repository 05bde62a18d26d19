// The base protocol's framing.
#include "framing.h"

#include <cctype>

namespace lsp {

namespace {

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) {
    text.remove_suffix(1);
  }
  return text;
}

// The length a header block gives, or a problem.
std::optional<std::size_t> ContentLength(std::string_view block, std::string* problem) {
  std::optional<std::size_t> length;
  while (!block.empty()) {
    std::size_t end = block.find('\n');
    std::string_view line = block.substr(0, end);
    block.remove_prefix(end == std::string_view::npos ? block.size() : end + 1);
    line = Trim(line);
    if (line.empty()) continue;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
      *problem = "header line without ':'";
      return std::nullopt;
    }
    if (Lower(Trim(line.substr(0, colon))) != "content-length") continue;
    std::string_view value = Trim(line.substr(colon + 1));
    if (value.empty() || value.size() > 12) {
      *problem = "bad Content-Length";
      return std::nullopt;
    }
    std::size_t n = 0;
    for (char c : value) {
      if (c < '0' || c > '9') {
        *problem = "bad Content-Length";
        return std::nullopt;
      }
      n = n * 10 + static_cast<std::size_t>(c - '0');
    }
    length = n;
  }
  if (!length) {
    *problem = "no Content-Length header";
    return std::nullopt;
  }
  if (*length > kMaxBody) {
    *problem = "message too large";
    return std::nullopt;
  }
  return length;
}

}  // namespace

void MessageReader::Feed(std::string_view bytes) {
  // Consumed bytes go before the buffer grows, so it holds one message at most.
  if (m_nStart > 0 && m_nStart * 2 >= m_Buffer.size()) {
    m_Buffer.erase(0, m_nStart);
    m_nStart = 0;
  }
  m_Buffer.append(bytes);
}

void MessageReader::Resynchronize() {
  const std::string lower = Lower(std::string_view(m_Buffer).substr(m_nStart));
  std::size_t at = lower.find("content-length", 1);
  while (at != std::string::npos && lower[at - 1] != '\n')
    at = lower.find("content-length", at + 1);
  m_nStart = at == std::string::npos ? m_Buffer.size() : m_nStart + at;
}

std::optional<MessageReader::Item> MessageReader::Next() {
  for (;;) {
    const std::string_view rest = std::string_view(m_Buffer).substr(m_nStart);
    // Blank lines between messages are allowed.
    std::size_t skip = 0;
    while (skip < rest.size() && (rest[skip] == '\r' || rest[skip] == '\n')) ++skip;
    if (skip > 0) {
      m_nStart += skip;
      continue;
    }
    if (rest.empty()) return std::nullopt;
    // The header block ends at the first empty line (CR LF, or a bare LF).
    std::size_t end = std::string_view::npos, bodyAt = 0;
    for (std::size_t i = 0; i + 1 < rest.size() && i < kMaxHeader + 4; ++i) {
      if (rest[i] != '\n') continue;
      if (rest[i + 1] == '\n') {
        end = i, bodyAt = i + 2;
        break;
      }
      if (rest[i + 1] == '\r' && i + 2 < rest.size() && rest[i + 2] == '\n') {
        end = i, bodyAt = i + 3;
        break;
      }
    }
    if (end == std::string_view::npos) {
      if (rest.size() <= kMaxHeader) return std::nullopt;
      Resynchronize();
      return Item{false, {}, "header too long"};
    }
    Item item;
    const std::optional<std::size_t> length = ContentLength(rest.substr(0, end), &item.problem);
    if (!length) {
      m_nStart += bodyAt;
      return item;
    }
    if (rest.size() - bodyAt < *length) return std::nullopt;
    item.ok = true;
    item.body.assign(rest.substr(bodyAt, *length));
    m_nStart += bodyAt + *length;
    return item;
  }
}

std::string Frame(std::string_view body) {
  std::string out = "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
  out.append(body);
  return out;
}

}  // namespace lsp
