// Collects the messages of the system from the source, and matches them
// against expected outputs.
#include <algorithm>
#include <cctype>

#include "golden.h"

namespace golden {

namespace {

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

}  // namespace

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

}  // namespace golden
