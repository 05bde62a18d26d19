// The INF reader of the simulated machine's device manager.
#include "platform/sim/inf.h"

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/sim/simcore.h"

namespace sim::detail {

using plat::DWORD;
using plat::GUID;
using plat::LPCSTR;

namespace {

std::string Trim(const std::string& text) {
  std::size_t b = text.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return {};
  std::size_t e = text.find_last_not_of(" \t\r\n");
  return text.substr(b, e - b + 1);
}

}  // namespace

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

const std::vector<InfLine>* Inf::Section(const std::string& name) const {
  auto it = sections.find(Lower(name));
  return it == sections.end() ? nullptr : &it->second;
}

std::string Inf::Get(const std::string& section, const std::string& key) const {
  if (const auto* lines = Section(section)) {
    for (const InfLine& line : *lines) {
      if (EqualNoCase(line.key, key)) return line.value;
    }
  }
  return {};
}

std::string Unquote(std::string text) {
  text = Trim(text);
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
    text = text.substr(1, text.size() - 2);
  }
  return text;
}

std::vector<std::string> SplitList(const std::string& text) {
  std::vector<std::string> items;
  std::string current;
  for (char c : text) {
    if (c == ',') {
      items.push_back(Unquote(current));
      current.clear();
    } else {
      current += c;
    }
  }
  items.push_back(Unquote(current));
  return items;
}

// Replaces %strkey% with [Strings] values and the directory ids 10, 11, 12.
std::string Expand(const Inf& inf, const std::string& text) {
  std::string out;
  std::size_t i = 0;
  while (i < text.size()) {
    std::size_t end = text[i] == '%' ? text.find('%', i + 1) : std::string::npos;
    if (end == std::string::npos) {
      out += text[i++];
      continue;
    }
    std::string name = text.substr(i + 1, end - i - 1);
    std::string windows = WindowsDirectory();
    if (name == "10") {
      out += windows;
    } else if (name == "11") {
      out += windows + "\\system32";
    } else if (name == "12") {
      out += windows + "\\system32\\drivers";
    } else if (name == "17") {
      out += windows + "\\inf";
    } else if (name.empty()) {
      out += '%';
    } else {
      std::string value = inf.Get("Strings", name);
      out += value.empty() ? text.substr(i, end - i + 1) : Unquote(value);
    }
    i = end + 1;
  }
  return out;
}

bool ReadInf(LPCSTR path, Inf* inf, DWORD* error) {
  Resolved r = Resolve(path);
  if (r.error != 0) {
    *error = r.error;
    return false;
  }
  if (!r.exists || r.isDirectory) {
    *error = r.exists ? plat::ERROR_ACCESS_DENIED : MissingError(r);
    return false;
  }
  std::string content;
  if (!ReadWhole(r.host, &content)) {
    *error = plat::ERROR_ACCESS_DENIED;
    return false;
  }
  std::string section;
  std::size_t start = 0;
  while (start <= content.size()) {
    std::size_t end = content.find('\n', start);
    if (end == std::string::npos) end = content.size();
    std::string line = content.substr(start, end - start);
    start = end + 1;
    // Strip a comment outside quotes.
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '"') quoted = !quoted;
      if (line[i] == ';' && !quoted) {
        line.erase(i);
        break;
      }
    }
    line = Trim(line);
    if (line.empty()) continue;
    if (line.front() == '[') {
      std::size_t close = line.find(']');
      section =
          Lower(Trim(line.substr(1, close == std::string::npos ? std::string::npos : close - 1)));
      inf->sections[section];
      continue;
    }
    std::size_t eq = line.find('=');
    InfLine entry;
    if (eq == std::string::npos) {
      entry.value = line;
    } else {
      entry.key = Unquote(line.substr(0, eq));
      entry.value = Trim(line.substr(eq + 1));
    }
    inf->sections[section].push_back(entry);
  }
  return true;
}

// Class name and GUID of an INF's [Version] section.
bool InfClass(const Inf& inf, std::string* className, GUID* guid, DWORD* error) {
  if (!inf.Section("Version")) {
    *error = plat::ERROR_INVALID_CLASS;
    return false;
  }
  *className = Unquote(Expand(inf, inf.Get("Version", "Class")));
  std::string guidText = Unquote(Expand(inf, inf.Get("Version", "ClassGUID")));
  *guid = GUID{};
  if (!guidText.empty() && !ParseGuid(guidText, guid)) {
    *error = plat::ERROR_INVALID_CLASS;
    return false;
  }
  if (className->empty() && guidText.empty()) {
    *error = plat::ERROR_INVALID_CLASS;
    return false;
  }
  return true;
}

// The install section and description of the model that names `hardwareId`.
bool FindModel(const Inf& inf, const std::string& hardwareId, std::string* install,
               std::string* description) {
  const auto* manufacturers = inf.Section("Manufacturer");
  if (!manufacturers) return false;
  for (const InfLine& m : *manufacturers) {
    std::vector<std::string> parts = SplitList(Expand(inf, m.value));
    std::string models = Lower(parts[0]);
    for (const auto& [name, lines] : inf.sections) {
      if (name != models && name.rfind(models + ".", 0) != 0) continue;
      for (const InfLine& line : lines) {
        std::vector<std::string> fields = SplitList(line.value);
        for (std::size_t i = 1; i < fields.size(); ++i) {
          if (EqualNoCase(fields[i], hardwareId)) {
            *install = fields[0];
            *description = Unquote(Expand(inf, line.key));
            return true;
          }
        }
      }
    }
  }
  return false;
}

std::vector<InfService> InstallServices(const Inf& inf, const std::string& install) {
  std::vector<InfService> services;
  const std::vector<InfLine>* lines = nullptr;
  for (const char* decoration : {".NTx86", ".NTamd64", ".NT", ""}) {
    lines = inf.Section(install + decoration + ".Services");
    if (lines) break;
  }
  if (!lines) return services;
  for (const InfLine& line : *lines) {
    if (!EqualNoCase(line.key, "AddService")) continue;
    std::vector<std::string> fields = SplitList(Expand(inf, line.value));
    InfService s;
    s.name = fields[0];
    if (s.name.empty()) continue;
    if (fields.size() > 1)
      s.flags = static_cast<DWORD>(std::strtoul(fields[1].c_str(), nullptr, 0));
    if (fields.size() > 2) {
      std::string section = fields[2];
      auto number = [&](const char* key, DWORD fallback) {
        std::string v = Expand(inf, inf.Get(section, key));
        return v.empty() ? fallback : static_cast<DWORD>(std::strtoul(v.c_str(), nullptr, 0));
      };
      s.type = number("ServiceType", s.type);
      s.start = number("StartType", s.start);
      s.errorControl = number("ErrorControl", s.errorControl);
      s.binary = Unquote(Expand(inf, inf.Get(section, "ServiceBinary")));
      s.group = Unquote(Expand(inf, inf.Get(section, "LoadOrderGroup")));
    }
    if (s.binary.empty()) s.binary = WindowsDirectory() + "\\system32\\drivers\\" + s.name + ".sys";
    services.push_back(s);
  }
  return services;
}

}  // namespace sim::detail
