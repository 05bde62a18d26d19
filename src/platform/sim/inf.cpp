// The INF reader of the simulated machine's device manager.
#include "platform/sim/inf.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/sim/simcore.h"

namespace sim::detail {

using plat::DWORD;
using plat::GUID;

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

std::string_view TrimView(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// The file's bytes as 8-bit text: UTF-16LE (with its byte order mark) is
// narrowed, characters outside ASCII becoming '?'; a UTF-8 mark is dropped.
std::string Narrow(std::string_view bytes) {
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
      static_cast<unsigned char>(bytes[1]) == 0xFE) {
    std::string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
      unsigned unit = static_cast<unsigned char>(bytes[i]) |
                      (static_cast<unsigned>(static_cast<unsigned char>(bytes[i + 1])) << 8);
      text += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    return text;
  }
  if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") bytes.remove_prefix(3);
  return std::string(bytes);
}

// One physical line joined with its continuations, comments removed; the
// quote state is tracked so that ';' and '\' inside quotes stay text.
// Answers false for a quote left open at the end of the logical line.
bool NextLogicalLine(std::string_view text, std::size_t* at, std::string* line) {
  line->clear();
  bool quoted = false;
  bool comment = false;
  while (*at < text.size()) {
    char c = text[(*at)++];
    if (c == '\n') {
      // A backslash that ends the line (outside quotes and comments) joins
      // the next line to this one.
      std::string_view kept = TrimView(*line);
      if (!comment && !quoted && !kept.empty() && kept.back() == '\\') {
        line->erase(line->find_last_of('\\'));
        continue;
      }
      break;
    }
    if (c == '\0') c = ' ';
    if (comment) continue;
    if (c == '"') quoted = !quoted;
    if (c == ';' && !quoted) {
      comment = true;
      continue;
    }
    *line += c;
    if (line->size() > kMaxFieldLength * 4) return false;
  }
  return !quoted;
}

// Splits "key = f1, f2" into the key and raw fields (quotes still in place).
void SplitLine(std::string_view line, std::string* key, std::vector<std::string>* fields,
               bool* hasKey) {
  *hasKey = false;
  bool quoted = false;
  std::size_t equals = std::string_view::npos;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == '=' && !quoted) {
      equals = i;
      break;
    }
  }
  std::string_view rest = line;
  if (equals != std::string_view::npos) {
    *hasKey = true;
    *key = std::string(TrimView(line.substr(0, equals)));
    rest = line.substr(equals + 1);
  }
  fields->clear();
  std::string current;
  quoted = false;
  for (char c : rest) {
    if (c == '"') quoted = !quoted;
    if (c == ',' && !quoted) {
      fields->push_back(std::string(TrimView(current)));
      current.clear();
    } else {
      current += c;
    }
  }
  fields->push_back(std::string(TrimView(current)));
}

// Removes the quotes of a field: "a""b" is a"b; quoted and unquoted pieces join.
std::string Unquote(std::string_view field) {
  std::string out;
  bool quoted = false;
  for (std::size_t i = 0; i < field.size(); ++i) {
    char c = field[i];
    if (c == '"') {
      if (quoted && i + 1 < field.size() && field[i + 1] == '"') {
        out += '"';
        ++i;
      } else {
        quoted = !quoted;
      }
      continue;
    }
    out += c;
  }
  return out;
}

std::string LowerText(std::string_view text) {
  return Lower(text);
}

// Replaces %key% from the strings table; %% is a percent sign; an unknown key
// stays as written. Substituted text is not substituted again, and the result
// is cut at the field limit.
std::string Substitute(std::string_view text, const std::map<std::string, std::string>& strings) {
  std::string out;
  std::size_t i = 0;
  while (i < text.size() && out.size() <= kMaxFieldLength) {
    std::size_t end = text[i] == '%' ? text.find('%', i + 1) : std::string_view::npos;
    if (end == std::string_view::npos) {
      out += text[i++];
      continue;
    }
    std::string_view name = text.substr(i + 1, end - i - 1);
    if (name.empty()) {
      out += '%';
    } else if (auto it = strings.find(LowerText(name)); it != strings.end()) {
      out += it->second;
    } else {
      out.append(text.substr(i, end - i + 1));
    }
    i = end + 1;
  }
  if (out.size() > kMaxFieldLength) out.resize(kMaxFieldLength);
  return out;
}

const std::vector<InfLine> kNoLines;

DWORD Number(const std::string& text, DWORD fallback) {
  if (text.empty()) return fallback;
  char* end = nullptr;
  unsigned long value = std::strtoul(text.c_str(), &end, 0);
  return end != nullptr && *end == '\0' ? static_cast<DWORD>(value) : fallback;
}

}  // namespace

// ---- GUIDs ------------------------------------------------------------------------

std::string GuidText(const GUID& g) {
  char text[40];
  std::snprintf(text, sizeof text, "{%08" PRIX32 "-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3],
                g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  return text;
}

bool ParseGuid(std::string text, GUID* g) {
  if (text.size() == 38 && text.front() == '{' && text.back() == '}') {
    text = text.substr(1, 36);
  }
  if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' ||
      text[23] != '-') {
    return false;
  }
  std::string hex;
  for (char c : text) {
    if (c == '-') continue;
    if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
    hex += c;
  }
  if (hex.size() != 32) return false;
  auto field = [&](std::size_t at, std::size_t digits) {
    return std::strtoul(hex.substr(at, digits).c_str(), nullptr, 16);
  };
  g->Data1 = static_cast<std::uint32_t>(field(0, 8));
  g->Data2 = static_cast<std::uint16_t>(field(8, 4));
  g->Data3 = static_cast<std::uint16_t>(field(12, 4));
  for (std::size_t i = 0; i < 8; ++i) g->Data4[i] = static_cast<std::uint8_t>(field(16 + 2 * i, 2));
  return true;
}

bool SameGuid(const GUID& a, const GUID& b) {
  return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

// ---- Parsing --------------------------------------------------------------------------

std::optional<Inf> Inf::Parse(std::string_view bytes, DWORD* error) {
  if (bytes.size() > kMaxInfSize) {
    *error = kErrorGeneralSyntax;
    return std::nullopt;
  }
  const std::string text = Narrow(bytes);

  // First pass: sections and raw lines.
  struct RawLine {
    bool hasKey;
    std::string key;
    std::vector<std::string> fields;
  };
  std::map<std::string, std::vector<RawLine>> raw;
  std::vector<RawLine>* section = nullptr;
  std::size_t at = 0;
  std::string line;
  while (at < text.size()) {
    if (!NextLogicalLine(text, &at, &line)) {
      *error = kErrorGeneralSyntax;
      return std::nullopt;
    }
    std::string_view trimmed = TrimView(line);
    if (trimmed.empty()) continue;
    if (trimmed.front() == '[') {
      std::size_t close = trimmed.find(']');
      if (close == std::string_view::npos) {
        *error = kErrorBadSectionNameLine;
        return std::nullopt;
      }
      std::string_view name = TrimView(trimmed.substr(1, close - 1));
      if (name.size() > kMaxSectionName) {
        *error = kErrorSectionNameTooLong;
        return std::nullopt;
      }
      section = &raw[LowerText(name)];
      continue;
    }
    if (section == nullptr) {
      *error = kErrorExpectedSectionName;
      return std::nullopt;
    }
    RawLine entry;
    SplitLine(trimmed, &entry.key, &entry.fields, &entry.hasKey);
    for (const std::string& field : entry.fields) {
      if (field.size() > kMaxFieldLength) {
        *error = kErrorGeneralSyntax;
        return std::nullopt;
      }
    }
    section->push_back(std::move(entry));
  }

  // Only a file with a [Version] signature is an INF of the Windows NT style.
  auto version = raw.find("version");
  bool signed_ = false;
  if (version != raw.end()) {
    for (const RawLine& l : version->second) {
      if (!l.hasKey || !EqualNoCase(Unquote(l.key), "Signature") || l.fields.empty()) continue;
      std::string signature = LowerText(Unquote(l.fields[0]));
      signed_ =
          signature == "$windows nt$" || signature == "$chicago$" || signature == "$windows 95$";
    }
  }
  if (!signed_) {
    *error = kErrorWrongInfStyle;
    return std::nullopt;
  }

  // The strings table: [Strings], then a language's [Strings.LLLL] over it.
  std::map<std::string, std::string> strings;
  for (const auto& [name, lines] : raw) {
    if (name != "strings" && name.rfind("strings.", 0) != 0) continue;
    if (name != "strings" && name != "strings.0409") continue;
    for (const RawLine& l : lines) {
      if (!l.hasKey || l.fields.empty()) continue;
      std::string key = LowerText(Unquote(l.key));
      if (name == "strings" && strings.count(key)) continue;
      strings[key] = Unquote(l.fields[0]);
    }
  }

  Inf inf;
  for (auto& [name, lines] : raw) {
    std::vector<InfLine>& out = inf.m_Sections[name];
    const bool isStrings = name == "strings" || name.rfind("strings.", 0) == 0;
    for (RawLine& l : lines) {
      InfLine entry;
      // Quotes go first, so that substituted text is taken as it stands.
      entry.key = isStrings ? Unquote(l.key) : Substitute(Unquote(l.key), strings);
      for (const std::string& field : l.fields) {
        entry.fields.push_back(isStrings ? Unquote(field) : Substitute(Unquote(field), strings));
      }
      out.push_back(std::move(entry));
    }
  }
  return inf;
}

bool Inf::HasSection(std::string_view name) const {
  return m_Sections.count(LowerText(name)) != 0;
}

const std::vector<InfLine>& Inf::Lines(std::string_view name) const {
  auto it = m_Sections.find(LowerText(name));
  return it == m_Sections.end() ? kNoLines : it->second;
}

std::vector<std::string> Inf::Values(std::string_view section, std::string_view key) const {
  for (const InfLine& line : Lines(section)) {
    if (EqualNoCase(line.key, key)) return line.fields;
  }
  return {};
}

std::string Inf::Value(std::string_view section, std::string_view key) const {
  std::vector<std::string> values = Values(section, key);
  return values.empty() ? std::string() : values.front();
}

std::optional<Inf> ReadInf(plat::LPCSTR path, DWORD* error) {
  if (path == nullptr) {
    *error = plat::ERROR_INVALID_PARAMETER;
    return std::nullopt;
  }
  Resolved r = ResolveInProcess(path);
  if (r.error != 0) {
    *error = r.error;
    return std::nullopt;
  }
  if (!r.exists || r.isDirectory) {
    *error = r.exists ? plat::ERROR_ACCESS_DENIED : MissingError(r);
    return std::nullopt;
  }
  std::optional<StoreEntry> entry = Files().Stat(r.path);
  if (!entry || entry->size > kMaxInfSize) {
    *error = entry ? kErrorGeneralSyntax : plat::ERROR_ACCESS_DENIED;
    return std::nullopt;
  }
  std::string content;
  if (!Files().ReadAll(r.path, &content)) {
    *error = plat::ERROR_ACCESS_DENIED;
    return std::nullopt;
  }
  return Inf::Parse(content, error);
}

// ---- What device installation reads -----------------------------------------------------

bool InfClass(const Inf& inf, std::string* className, GUID* guid, DWORD* error) {
  *className = inf.Value("Version", "Class");
  std::string guidText = inf.Value("Version", "ClassGUID");
  *guid = GUID{};
  if ((!guidText.empty() && !ParseGuid(guidText, guid)) ||
      (className->empty() && guidText.empty())) {
    *error = plat::ERROR_INVALID_CLASS;
    return false;
  }
  return true;
}

namespace {

// The value of `key` in [Version], or of its decorated form for the platform
// ("CatalogFile.NTamd64" over "CatalogFile.NT" over "CatalogFile").
std::string DecoratedVersionValue(const Inf& inf, const std::string& key,
                                  const InfPlatform& platform) {
  for (std::string suffix : {platform.amd64 ? ".ntamd64" : ".ntx86", ".nt", ""}) {
    std::string value = inf.Value("Version", key + suffix);
    if (!value.empty()) return value;
  }
  return {};
}

// How well a models-section decoration fits the platform: none when it does
// not apply; higher is more specific. "NTamd64.6.0" applies to 6.0 and later.
std::optional<int> DecorationScore(const std::string& decoration, const InfPlatform& platform) {
  std::string d = LowerText(decoration);
  if (d.rfind("nt", 0) != 0) return std::nullopt;
  d.erase(0, 2);
  int score = 1;
  std::string arch = d.substr(0, d.find('.'));
  if (!arch.empty()) {
    if (arch != (platform.amd64 ? "amd64" : "x86")) return std::nullopt;
    score += 2;
  }
  std::size_t dot = d.find('.');
  if (dot != std::string::npos) {
    std::string version = d.substr(dot + 1);
    unsigned major = 0;
    unsigned minor = 0;
    if (std::sscanf(version.c_str(), "%u.%u", &major, &minor) < 1) return std::nullopt;
    if (major > platform.major || (major == platform.major && minor > platform.minor)) {
      return std::nullopt;
    }
    score += 4 + static_cast<int>(major * 100 + minor) * 8;
  }
  return score;
}

}  // namespace

InfVersion ReadVersion(const Inf& inf, const InfPlatform& platform) {
  InfVersion version;
  version.provider = inf.Value("Version", "Provider");
  std::vector<std::string> driverVer = inf.Values("Version", "DriverVer");
  if (!driverVer.empty()) version.driverDate = driverVer[0];
  if (driverVer.size() > 1) version.driverVersion = driverVer[1];
  version.catalogFile = DecoratedVersionValue(inf, "CatalogFile", platform);
  return version;
}

std::optional<InfModel> FindModel(const Inf& inf, const std::string& hardwareId,
                                  const InfPlatform& platform) {
  for (const InfLine& manufacturer : inf.Lines("Manufacturer")) {
    if (manufacturer.fields.empty() || manufacturer.fields[0].empty()) continue;
    const std::string& models = manufacturer.fields[0];
    // The models section: undecorated when no decoration is listed, else
    // the best listed decoration for the platform (none fits: no models).
    std::string section;
    if (manufacturer.fields.size() == 1) {
      section = models;
    } else {
      int best = -1;
      for (std::size_t i = 1; i < manufacturer.fields.size(); ++i) {
        std::optional<int> score = DecorationScore(manufacturer.fields[i], platform);
        if (score && *score > best) {
          best = *score;
          section = models + "." + manufacturer.fields[i];
        }
      }
      if (section.empty()) continue;
    }
    for (const InfLine& line : inf.Lines(section)) {
      for (std::size_t i = 1; i < line.fields.size(); ++i) {
        if (!EqualNoCase(line.fields[i], hardwareId)) continue;
        InfModel model;
        model.description = line.key;
        model.installSection = line.fields[0];
        model.matchingId = LowerText(line.fields[i]);
        model.manufacturer = manufacturer.key;
        // The install section that applies: decorated for the architecture,
        // then for NT, then as written.
        model.decorated = model.installSection;
        for (std::string suffix : {platform.amd64 ? ".NTamd64" : ".NTx86", ".NT"}) {
          if (inf.HasSection(model.installSection + suffix)) {
            model.decorated = model.installSection + suffix;
            break;
          }
        }
        return model;
      }
    }
  }
  return std::nullopt;
}

std::optional<std::string> DirectoryOfId(const std::string& id, const std::string& windowsDir) {
  std::string dir;
  switch (Number(id, 0)) {
    case 10:
      dir = windowsDir;
      break;
    case 11:
      dir = windowsDir + "\\system32";
      break;
    case 12:
      dir = windowsDir + "\\system32\\drivers";
      break;
    case 17:
      dir = windowsDir + "\\inf";
      break;
    case 18:
      dir = windowsDir + "\\help";
      break;
    case 20:
      dir = windowsDir + "\\Fonts";
      break;
    case 24:
      dir = windowsDir.substr(0, 2);
      break;
    case 53:
    case 54:
      dir = windowsDir.substr(0, 2);
      break;
    default:
      return std::nullopt;
  }
  return dir;
}

std::vector<InfCopy> CopyFiles(const Inf& inf, const std::string& installSection,
                               const std::string& windowsDir, const InfPlatform& platform) {
  std::vector<InfCopy> copies;
  // Where a file comes from: [SourceDisksFiles(.arch)] names its disk and
  // subdirectory, [SourceDisksNames(.arch)] the disk's own subdirectory.
  auto sourceDir = [&](const std::string& file) {
    for (std::string suffix : {platform.amd64 ? ".amd64" : ".x86", ""}) {
      std::vector<std::string> entry = inf.Values("SourceDisksFiles" + suffix, file);
      if (entry.empty()) continue;
      std::string dir;
      std::vector<std::string> disk = inf.Values("SourceDisksNames" + suffix, entry[0]);
      if (disk.empty()) disk = inf.Values("SourceDisksNames", entry[0]);
      if (disk.size() > 3) dir = disk[3];
      if (entry.size() > 1 && !entry[1].empty()) dir += (dir.empty() ? "" : "\\") + entry[1];
      while (!dir.empty() && (dir.front() == '\\' || dir.front() == '.')) dir.erase(0, 1);
      return dir;
    }
    return std::string();
  };
  auto destination = [&](const std::string& section) -> std::optional<std::string> {
    std::vector<std::string> target = inf.Values("DestinationDirs", section);
    if (target.empty()) target = inf.Values("DestinationDirs", "DefaultDestDir");
    if (target.empty()) return windowsDir + "\\system32";  // the documented default (11)
    std::optional<std::string> dir = DirectoryOfId(target[0], windowsDir);
    if (dir && target.size() > 1 && !target[1].empty()) *dir += "\\" + target[1];
    return dir;
  };
  for (const InfLine& line : inf.Lines(installSection)) {
    if (!EqualNoCase(line.key, "CopyFiles")) continue;
    for (const std::string& item : line.fields) {
      if (item.empty()) continue;
      if (item.front() == '@') {  // a single file, to the default directory
        std::string file = item.substr(1);
        if (auto dir = destination("DefaultDestDir")) {
          copies.push_back({file, sourceDir(file), *dir + "\\" + file});
        }
        continue;
      }
      std::optional<std::string> dir = destination(item);
      if (!dir) continue;
      for (const InfLine& fileLine : inf.Lines(item)) {
        // "destination[, source[, temporary[, flags]]]"
        if (!fileLine.key.empty() || fileLine.fields.empty()) continue;
        const std::string& target = fileLine.fields[0];
        const std::string& source =
            fileLine.fields.size() > 1 && !fileLine.fields[1].empty() ? fileLine.fields[1] : target;
        if (target.empty() || target.find_first_of("\\/:") != std::string::npos ||
            source.find_first_of("\\/:") != std::string::npos) {
          continue;  // only plain names: a copy never leaves its directory
        }
        copies.push_back({source, sourceDir(source), *dir + "\\" + target});
      }
    }
  }
  return copies;
}

std::vector<InfService> InstallServices(const Inf& inf, const std::string& installSection,
                                        const std::string& windowsDir) {
  std::vector<InfService> services;
  for (const InfLine& line : inf.Lines(installSection + ".Services")) {
    if (!EqualNoCase(line.key, "AddService") || line.fields.empty()) continue;
    InfService s;
    s.name = line.fields[0];
    if (s.name.empty() || s.name.size() > 256 || s.name.find_first_of("\\/") != std::string::npos) {
      continue;
    }
    if (line.fields.size() > 1) s.flags = Number(line.fields[1], 0);
    if (line.fields.size() > 2 && !line.fields[2].empty()) {
      const std::string& section = line.fields[2];
      s.type = Number(inf.Value(section, "ServiceType"), s.type);
      s.start = Number(inf.Value(section, "StartType"), s.start);
      s.errorControl = Number(inf.Value(section, "ErrorControl"), s.errorControl);
      s.binary = inf.Value(section, "ServiceBinary");
      s.group = inf.Value(section, "LoadOrderGroup");
      s.displayName = inf.Value(section, "DisplayName");
    }
    // %12%\x.sys style paths: the directory ids are substituted here.
    if (s.binary.size() > 2 && s.binary.front() == '%') {
      std::size_t end = s.binary.find('%', 1);
      if (end != std::string::npos) {
        if (auto dir = DirectoryOfId(s.binary.substr(1, end - 1), windowsDir)) {
          s.binary = *dir + s.binary.substr(end + 1);
        }
      }
    }
    if (s.binary.empty()) s.binary = windowsDir + "\\system32\\drivers\\" + s.name + ".sys";
    services.push_back(s);
  }
  return services;
}

}  // namespace sim::detail
