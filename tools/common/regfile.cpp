// Registry export files: decoding, the line parser, and the writer.
#include "regfile.h"

#include <array>
#include <cstdio>

namespace regfile {

namespace {

constexpr char kHeader5[] = "Windows Registry Editor Version 5.00";
constexpr char kHeader4[] = "REGEDIT4";
constexpr char kCurrentConfig[] = "SYSTEM\\CurrentControlSet\\Hardware Profiles\\Current";
// A hex line is wrapped once it holds this many characters (the registry
// editor's layout: 25 bytes on a continuation line, no line above 80 columns).
constexpr std::size_t kHexWrap = 77;

// ---- Windows-1252 ---------------------------------------------------------------------

// Characters of the bytes 0x80..0x9F; the five bytes Windows-1252 leaves
// unassigned map to the C1 control of the same number, as Windows maps them.
constexpr std::array<char32_t, 32> kHigh = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char32_t FromAnsi(std::uint8_t byte) {
  return byte >= 0x80 && byte <= 0x9F ? kHigh[byte - 0x80] : byte;
}

std::optional<std::uint8_t> ToAnsi(char32_t c) {
  if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) return static_cast<std::uint8_t>(c);
  for (std::size_t i = 0; i < kHigh.size(); ++i) {
    if (kHigh[i] == c) return static_cast<std::uint8_t>(0x80 + i);
  }
  return std::nullopt;
}

void AppendUtf8(std::string* out, char32_t c) {
  if (c < 0x80) {
    *out += static_cast<char>(c);
  } else if (c < 0x800) {
    *out += static_cast<char>(0xC0 | (c >> 6));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out += static_cast<char>(0xE0 | (c >> 12));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | (c >> 18));
    *out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

std::string CodePointText(char32_t c) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "U+%04X", static_cast<unsigned>(c));
  return buffer;
}

// ---- Decoding the file into lines of characters ----------------------------------------

using Line = std::u32string;

struct Decoded {
  Line text;
  std::string problem;     // non-empty: the bytes are not valid text; `text` holds what came before
  bool wholeFile = false;  // the problem concerns no line in particular
};

Decoded DecodeUtf16(std::string_view bytes) {
  Decoded d;
  if (bytes.size() % 2 != 0) {
    d.problem = "UTF-16 file with an odd number of bytes";
    d.wholeFile = true;
    return d;
  }
  auto unitAt = [&](std::size_t i) {
    return static_cast<char32_t>(static_cast<std::uint8_t>(bytes[i]) |
                                 static_cast<std::uint8_t>(bytes[i + 1]) << 8);
  };
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t unit = unitAt(i);
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 3 < bytes.size()) {
      char32_t low = unitAt(i + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        d.text += 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
        continue;
      }
    }
    if (unit >= 0xD800 && unit <= 0xDFFF) {
      d.problem = "unpaired UTF-16 surrogate " + CodePointText(unit);
      return d;
    }
    d.text += unit;
  }
  return d;
}

Decoded DecodeUtf8(std::string_view bytes) {
  static constexpr char32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
  Decoded d;
  for (std::size_t i = 0; i < bytes.size();) {
    auto b = static_cast<std::uint8_t>(bytes[i]);
    std::size_t length = b < 0x80             ? 1
                         : (b & 0xE0) == 0xC0 ? 2
                         : (b & 0xF0) == 0xE0 ? 3
                         : (b & 0xF8) == 0xF0 ? 4
                                              : 0;
    char32_t c = length == 1 ? b : length == 2 ? b & 0x1F : length == 3 ? b & 0x0F : b & 0x07;
    bool ok = length != 0 && i + length <= bytes.size();
    for (std::size_t k = 1; ok && k < length; ++k) {
      auto next = static_cast<std::uint8_t>(bytes[i + k]);
      ok = (next & 0xC0) == 0x80;
      c = (c << 6) | (next & 0x3F);
    }
    if (ok && (c < kMin[length] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))) ok = false;
    if (!ok) {
      d.problem = "the text is not valid UTF-8";
      return d;
    }
    d.text += c;
    i += length;
  }
  return d;
}

Decoded DecodeAnsi(std::string_view bytes) {
  Decoded d;
  for (char b : bytes) d.text += FromAnsi(static_cast<std::uint8_t>(b));
  return d;
}

bool StartsWith(std::string_view bytes, std::string_view prefix) {
  return bytes.substr(0, prefix.size()) == prefix;
}

// Chooses the encoding: a byte-order mark decides; without one, UTF-16LE is
// recognised by its zero high bytes, the 8-bit "REGEDIT4" form is read as
// Windows-1252 and anything else as UTF-8.
Decoded Decode(std::string_view bytes) {
  if (StartsWith(bytes, "\xFF\xFE")) return DecodeUtf16(bytes.substr(2));
  if (StartsWith(bytes, "\xFE\xFF")) {
    Decoded d;
    d.problem = "UTF-16 big-endian files are not supported; save the file as UTF-16LE";
    d.wholeFile = true;
    return d;
  }
  if (StartsWith(bytes, "\xEF\xBB\xBF")) return DecodeUtf8(bytes.substr(3));
  if (bytes.size() >= 2 && bytes[0] != '\0' && bytes[1] == '\0') return DecodeUtf16(bytes);
  std::size_t start = bytes.find_first_not_of("\r\n");
  if (start != std::string_view::npos && StartsWith(bytes.substr(start), kHeader4)) {
    return DecodeAnsi(bytes);
  }
  return DecodeUtf8(bytes);
}

// Splits text into lines at CR LF, LF or CR.
std::vector<Line> SplitLines(const Line& text) {
  std::vector<Line> lines(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c == '\r' || c == '\n') {
      if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  // A line break ends the last line; it does not start another.
  if (lines.size() > 1 && lines.back().empty()) lines.pop_back();
  return lines;
}

// ---- Parsing -----------------------------------------------------------------------------

bool IsBlank(char32_t c) {
  return c == ' ' || c == '\t';
}

char32_t Lower(char32_t c) {
  return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}

bool EqualNoCase(const Line& text, std::string_view ascii) {
  if (text.size() != ascii.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (Lower(text[i]) != Lower(static_cast<unsigned char>(ascii[i]))) return false;
  }
  return true;
}

int HexDigit(char32_t c) {
  if (c >= '0' && c <= '9') return static_cast<int>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<int>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<int>(c - 'A' + 10);
  return -1;
}

std::string Show(const Line& text) {
  std::string out;
  for (char32_t c : text.substr(0, 60)) AppendUtf8(&out, c < 0x20 ? U'?' : c);
  if (text.size() > 60) out += "...";
  return out;
}

class Parser {
 public:
  Parser(std::vector<Line> lines, ReadError* error) : m_lines(std::move(lines)), m_error(error) {}

  std::optional<File> Run();

 private:
  // file -> header { key-line | value-line | comment | blank }
  bool Header();
  // key-line -> '[' ['-'] root { '\' name } ']'
  bool KeyLine(const Line& text);
  // value-line -> ( '@' | quoted ) '=' ( '-' | quoted | "dword:" hex | "hex" ['(' hex ')'] ':'
  // bytes )
  bool ValueLine(const Line& text);
  // bytes -> [ byte { ',' [ '\' EOL ] byte } [','] ]
  bool HexBytes(const Line& text, std::size_t at, std::vector<std::uint8_t>* data);
  // quoted -> '"' { char | '\\' | '\"' } '"'
  bool Quoted(const Line& text, std::size_t* at, Line* out);
  bool ToAnsiText(const Line& text, std::string* out);
  // Converts the UTF-16LE data of a string type in a 5.00 file to 8-bit text.
  bool StringData(std::vector<std::uint8_t>* data);
  bool Error(std::string message) {
    m_error->line = m_lineNo;
    m_error->message = std::move(message);
    return false;
  }

  std::vector<Line> m_lines;
  ReadError* m_error;
  std::size_t m_next = 0;  // index of the next line to read
  int m_lineNo = 0;        // 1-based number of the line being parsed
  bool m_unicode = true;   // 5.00 form: string data in UTF-16LE
  File m_file;
};

std::optional<File> Parser::Run() {
  if (!Header()) return std::nullopt;
  while (m_next < m_lines.size()) {
    m_lineNo = static_cast<int>(m_next) + 1;
    const Line& line = m_lines[m_next++];
    std::size_t start = 0;
    while (start < line.size() && IsBlank(line[start])) ++start;
    if (start == line.size() || line[start] == ';') continue;
    Line text = line.substr(start);
    bool ok = false;
    if (text[0] == '[') {
      ok = KeyLine(text);
    } else if (text[0] == '@' || text[0] == '"') {
      ok = ValueLine(text);
    } else {
      ok = Error("expected a key line \"[...]\", a value line or a comment, found '" + Show(text) +
                 "'");
    }
    if (!ok) return std::nullopt;
  }
  return std::move(m_file);
}

bool Parser::Header() {
  while (m_next < m_lines.size()) {
    m_lineNo = static_cast<int>(m_next) + 1;
    Line line = m_lines[m_next++];
    while (!line.empty() && IsBlank(line.back())) line.pop_back();
    if (line.empty()) continue;
    if (line == U"Windows Registry Editor Version 5.00") return true;
    if (line == U"REGEDIT4") {
      m_unicode = false;
      return true;
    }
    break;
  }
  if (m_lineNo == 0) m_lineNo = 1;
  return Error(std::string("not a registry export: the first line must be \"") + kHeader5 +
               "\" or \"" + kHeader4 + "\"");
}

bool Parser::ToAnsiText(const Line& text, std::string* out) {
  out->clear();
  for (char32_t c : text) {
    if (c == 0) return Error("the character U+0000 is not allowed in names and strings");
    std::optional<std::uint8_t> byte = ToAnsi(c);
    if (!byte) {
      return Error("character " + CodePointText(c) +
                   " has no form in the machine's 8-bit character set (Windows-1252)");
    }
    *out += static_cast<char>(*byte);
  }
  return true;
}

bool Parser::KeyLine(const Line& text) {
  std::size_t close = text.rfind(']');
  if (close == Line::npos) return Error("key line without a closing ']'");
  for (std::size_t i = close + 1; i < text.size(); ++i) {
    if (!IsBlank(text[i])) return Error("text after the closing ']' of a key line");
  }
  Key key;
  key.line = m_lineNo;
  std::size_t at = 1;
  if (at < close && text[at] == '-') {
    key.remove = true;
    ++at;
  }
  std::vector<Line> parts;
  Line current;
  for (; at <= close; ++at) {
    if (at == close || text[at] == '\\') {
      parts.push_back(current);
      current.clear();
    } else {
      current += text[at];
    }
  }
  const Line& root = parts[0];
  if (root.empty()) return Error("key line without a root key name");
  bool currentConfig = false;
  if (EqualNoCase(root, "HKEY_LOCAL_MACHINE") || EqualNoCase(root, "HKLM")) {
    key.root = Root::LocalMachine;
  } else if (EqualNoCase(root, "HKEY_CURRENT_USER") || EqualNoCase(root, "HKCU")) {
    key.root = Root::CurrentUser;
  } else if (EqualNoCase(root, "HKEY_CLASSES_ROOT") || EqualNoCase(root, "HKCR")) {
    key.root = Root::ClassesRoot;
  } else if (EqualNoCase(root, "HKEY_USERS") || EqualNoCase(root, "HKU")) {
    key.root = Root::Users;
  } else if (EqualNoCase(root, "HKEY_CURRENT_CONFIG") || EqualNoCase(root, "HKCC")) {
    key.root = Root::LocalMachine;
    currentConfig = true;
  } else {
    return Error("unknown root key '" + Show(root) + "'");
  }
  if (currentConfig) {
    std::string_view rest = kCurrentConfig;
    while (!rest.empty()) {
      std::size_t cut = rest.find('\\');
      key.path.emplace_back(rest.substr(0, cut));
      rest = cut == std::string_view::npos ? std::string_view() : rest.substr(cut + 1);
    }
  }
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (parts[i].empty()) return Error("empty key name in '" + Show(text) + "'");
    if (parts[i].size() > kMaxKeyNameLength) {
      return Error("key name longer than " + std::to_string(kMaxKeyNameLength) + " characters");
    }
    std::string name;
    if (!ToAnsiText(parts[i], &name)) return false;
    key.path.push_back(std::move(name));
  }
  if (key.path.size() > kMaxKeyDepth) {
    return Error("key nested deeper than " + std::to_string(kMaxKeyDepth) + " levels");
  }
  if (key.remove && key.path.empty()) return Error("a root key cannot be deleted");
  m_file.keys.push_back(std::move(key));
  return true;
}

bool Parser::Quoted(const Line& text, std::size_t* at, Line* out) {
  out->clear();
  for (std::size_t i = *at + 1; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c == '"') {
      *at = i + 1;
      return true;
    }
    if (c == '\\') {
      if (i + 1 == text.size()) break;
      char32_t next = text[++i];
      if (next == '\\' || next == '"') {
        *out += next;
      } else if (next == 'n') {
        *out += U'\n';
      } else if (next == 'r') {
        *out += U'\r';
      } else {
        std::string shown = "\\";
        AppendUtf8(&shown, next);
        return Error("unknown escape '" + shown + "' in quoted text (use \\\\ for a backslash)");
      }
    } else {
      *out += c;
    }
  }
  return Error("quoted text without its closing '\"'");
}

bool Parser::HexBytes(const Line& first, std::size_t at, std::vector<std::uint8_t>* data) {
  Line text = first;
  auto skipBlanks = [&] {
    while (at < text.size() && IsBlank(text[at])) ++at;
  };
  // A '\' that ends the line joins the next line (its leading blanks dropped).
  auto continuation = [&]() -> int {
    std::size_t rest = at + 1;
    while (rest < text.size() && IsBlank(text[rest])) ++rest;
    if (rest != text.size()) return 0;
    if (m_next >= m_lines.size()) {
      Error("the file ends after a line continuation '\\'");
      return -1;
    }
    text = m_lines[m_next++];
    m_lineNo = static_cast<int>(m_next);
    at = 0;
    return 1;
  };
  skipBlanks();
  if (at < text.size() && text[at] == '\\') {
    int joined = continuation();
    if (joined < 0) return false;
    if (joined == 0) return Error("stray '\\' in hex data");
    skipBlanks();
  }
  if (at == text.size()) return true;  // no bytes at all
  for (;;) {
    int high = at < text.size() ? HexDigit(text[at]) : -1;
    if (high < 0) {
      return Error(at < text.size() ? "bad hex byte at '" + Show(text.substr(at)) + "'"
                                    : "missing hex byte after ','");
    }
    const std::size_t byteStart = at;
    int value = high;
    ++at;
    if (at < text.size() && HexDigit(text[at]) >= 0) value = value * 16 + HexDigit(text[at++]);
    if (at < text.size() && !IsBlank(text[at]) && text[at] != ',' && text[at] != '\\') {
      return Error("bad hex byte at '" + Show(text.substr(byteStart)) + "'");
    }
    data->push_back(static_cast<std::uint8_t>(value));
    skipBlanks();
    if (at == text.size()) return true;
    bool comma = text[at] == ',';
    if (comma) {
      ++at;
      skipBlanks();
      if (at == text.size()) return true;  // a trailing comma
    }
    if (text[at] == '\\') {
      int joined = continuation();
      if (joined < 0) return false;
      if (joined == 0) return Error("stray '\\' in hex data");
      skipBlanks();
      if (at == text.size()) return Error("empty line after a line continuation '\\'");
      continue;
    }
    if (!comma) return Error("expected ',' between hex bytes at '" + Show(text.substr(at)) + "'");
  }
}

bool Parser::StringData(std::vector<std::uint8_t>* data) {
  if (data->size() % 2 != 0) {
    return Error("string data of " + std::to_string(data->size()) +
                 " bytes: UTF-16 text needs an even number of bytes");
  }
  std::vector<std::uint8_t> text;
  for (std::size_t i = 0; i < data->size(); i += 2) {
    auto unit = static_cast<char32_t>((*data)[i] | (*data)[i + 1] << 8);
    std::optional<std::uint8_t> byte = ToAnsi(unit);
    if (!byte) {
      return Error("character " + CodePointText(unit) +
                   " has no form in the machine's 8-bit character set (Windows-1252)");
    }
    text.push_back(*byte);
  }
  *data = std::move(text);
  return true;
}

bool Parser::ValueLine(const Line& text) {
  if (m_file.keys.empty()) return Error("value line before the first key line");
  if (m_file.keys.back().remove) return Error("value line under a key that is being deleted");
  Value value;
  value.line = m_lineNo;
  std::size_t at = 0;
  if (text[0] == '@') {
    at = 1;
  } else {
    Line name;
    if (!Quoted(text, &at, &name)) return false;
    if (name.size() > kMaxValueNameLength) {
      return Error("value name longer than " + std::to_string(kMaxValueNameLength) + " characters");
    }
    if (!ToAnsiText(name, &value.name)) return false;
  }
  while (at < text.size() && IsBlank(text[at])) ++at;
  if (at == text.size() || text[at] != '=') return Error("expected '=' after the value name");
  ++at;
  while (at < text.size() && IsBlank(text[at])) ++at;
  Line rest = text.substr(at);
  auto onlyBlanksFrom = [&](std::size_t from) {
    for (std::size_t i = from; i < text.size(); ++i) {
      if (!IsBlank(text[i])) return false;
    }
    return true;
  };

  if (!rest.empty() && rest[0] == '-') {
    if (!onlyBlanksFrom(at + 1)) return Error("text after '=-'");
    value.remove = true;
  } else if (!rest.empty() && rest[0] == '"') {
    Line data;
    if (!Quoted(text, &at, &data)) return false;
    if (!onlyBlanksFrom(at)) return Error("text after the closing '\"' of a string value");
    std::string bytes;
    if (!ToAnsiText(data, &bytes)) return false;
    value.type = kRegSz;
    value.data.assign(bytes.begin(), bytes.end());
    value.data.push_back(0);
  } else if (rest.size() >= 6 && EqualNoCase(rest.substr(0, 6), "dword:")) {
    std::size_t i = 6;
    std::uint32_t number = 0;
    std::size_t digits = 0;
    for (; i < rest.size() && HexDigit(rest[i]) >= 0; ++i, ++digits) {
      number = number * 16 + static_cast<std::uint32_t>(HexDigit(rest[i]));
    }
    if (digits == 0 || digits > 8 || !onlyBlanksFrom(at + i)) {
      return Error("dword value needs 1 to 8 hex digits, found '" + Show(rest.substr(6)) + "'");
    }
    value.type = kRegDword;
    for (int shift = 0; shift < 32; shift += 8) {
      value.data.push_back(static_cast<std::uint8_t>(number >> shift));
    }
  } else if (rest.size() >= 3 && EqualNoCase(rest.substr(0, 3), "hex")) {
    std::size_t i = 3;
    value.type = kRegBinary;
    if (i < rest.size() && rest[i] == '(') {
      std::uint32_t type = 0;
      std::size_t digits = 0;
      for (++i; i < rest.size() && HexDigit(rest[i]) >= 0; ++i, ++digits) {
        type = type * 16 + static_cast<std::uint32_t>(HexDigit(rest[i]));
      }
      if (digits == 0 || digits > 8 || i == rest.size() || rest[i] != ')') {
        return Error("hex(TYPE) needs a type of 1 to 8 hex digits");
      }
      ++i;
      value.type = type;
    }
    if (i == rest.size() || rest[i] != ':') return Error("expected ':' after 'hex'");
    if (!HexBytes(text, at + i + 1, &value.data)) return false;
    bool stringType =
        value.type == kRegSz || value.type == kRegExpandSz || value.type == kRegMultiSz;
    if (stringType && m_unicode) {
      m_lineNo = value.line;
      if (!StringData(&value.data)) return false;
    }
  } else {
    return Error("unknown value data '" + Show(rest) +
                 "': expected \"text\", dword:, hex:, hex(TYPE): or -");
  }
  m_file.keys.back().values.push_back(std::move(value));
  return true;
}

// ---- Writing -------------------------------------------------------------------------------

std::string Escape(std::string_view ansi) {
  std::string out;
  for (char c : ansi) {
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else {
      if (c == '\\' || c == '"') out += '\\';
      AppendUtf8(&out, FromAnsi(static_cast<std::uint8_t>(c)));
    }
  }
  return out;
}

// Text that reads back unchanged from a quoted string: one terminating NUL,
// no other NUL, no line break.
bool QuotableString(const std::vector<std::uint8_t>& data) {
  if (data.empty() || data.back() != 0) return false;
  for (std::size_t i = 0; i + 1 < data.size(); ++i) {
    if (data[i] == 0 || data[i] == '\n' || data[i] == '\r') return false;
  }
  return true;
}

std::size_t Utf8Length(std::string_view text) {
  std::size_t n = 0;
  for (char c : text) n += (static_cast<std::uint8_t>(c) & 0xC0) != 0x80;
  return n;
}

}  // namespace

const char* RootName(Root root) {
  switch (root) {
    case Root::ClassesRoot:
      return "HKEY_CLASSES_ROOT";
    case Root::CurrentUser:
      return "HKEY_CURRENT_USER";
    case Root::LocalMachine:
      return "HKEY_LOCAL_MACHINE";
    case Root::Users:
      return "HKEY_USERS";
  }
  return "HKEY_LOCAL_MACHINE";
}

std::string KeyPath(Root root, const std::vector<std::string>& path) {
  std::string out = RootName(root);
  for (const std::string& part : path) out += "\\" + part;
  return out;
}

std::string Ansi8ToUtf8(std::string_view text) {
  std::string out;
  for (char c : text) AppendUtf8(&out, FromAnsi(static_cast<std::uint8_t>(c)));
  return out;
}

std::optional<File> Read(std::string_view bytes, ReadError* error) {
  ReadError ignored;
  if (error == nullptr) error = &ignored;
  *error = ReadError{};
  Decoded decoded = Decode(bytes);
  std::vector<Line> lines = SplitLines(decoded.text);
  if (!decoded.problem.empty()) {
    // The bad bytes follow the text decoded so far, on its last line or,
    // after a final line break, on the next.
    const bool broken =
        !decoded.text.empty() && (decoded.text.back() == '\n' || decoded.text.back() == '\r');
    error->line = decoded.wholeFile ? 0 : static_cast<int>(lines.size()) + (broken ? 1 : 0);
    error->message = decoded.problem;
    return std::nullopt;
  }
  return Parser(std::move(lines), error).Run();
}

std::string FormatKey(const Key& key) {
  std::string out = key.remove ? "[-" : "[";
  out += Ansi8ToUtf8(KeyPath(key.root, key.path));
  return out + "]";
}

std::string FormatValue(const Value& value, const Layout& layout) {
  std::string out = value.name.empty() ? "@=" : "\"" + Escape(value.name) + "\"=";
  if (value.remove) return out + "-";
  if (value.type == kRegSz && QuotableString(value.data)) {
    std::string_view text(reinterpret_cast<const char*>(value.data.data()), value.data.size() - 1);
    return out + "\"" + Escape(text) + "\"";
  }
  if (value.type == kRegDword && value.data.size() == 4) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "dword:%08x",
                  static_cast<unsigned>(value.data[0] | value.data[1] << 8 | value.data[2] << 16 |
                                        static_cast<std::uint32_t>(value.data[3]) << 24));
    return out + buffer;
  }
  if (value.type == kRegBinary) {
    out += "hex:";
  } else {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "hex(%x):", static_cast<unsigned>(value.type));
    out += buffer;
  }
  // String types travel as UTF-16LE in the 5.00 form.
  std::vector<std::uint8_t> bytes;
  if (value.type == kRegSz || value.type == kRegExpandSz || value.type == kRegMultiSz) {
    for (std::uint8_t b : value.data) {
      char32_t c = FromAnsi(b);
      bytes.push_back(static_cast<std::uint8_t>(c));
      bytes.push_back(static_cast<std::uint8_t>(c >> 8));
    }
  } else {
    bytes = value.data;
  }
  static const char kDigits[] = "0123456789abcdef";
  std::size_t column = Utf8Length(out);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 0xF];
    if (i + 1 == bytes.size()) break;
    out += ',';
    column += 3;
    if (column >= kHexWrap) {
      out += "\\" + layout.continuation;
      column = 2;
    }
  }
  return out;
}

std::string Write(const File& file) {
  Layout layout;
  std::string text = std::string(kHeader5) + "\r\n\r\n";
  for (const Key& key : file.keys) {
    text += FormatKey(key) + layout.lineEnd;
    for (const Value& value : key.values) text += FormatValue(value, layout) + layout.lineEnd;
    text += layout.lineEnd;
  }
  // UTF-8 to UTF-16LE with a byte-order mark; every character written comes
  // from Windows-1252, so none needs a surrogate pair.
  std::string out = "\xFF\xFE";
  for (char32_t c : DecodeUtf8(text).text) {
    out += static_cast<char>(c & 0xFF);
    out += static_cast<char>(c >> 8);
  }
  return out;
}

}  // namespace regfile
