// The device manager of the simulated machine and the SetupApi.dll / newdev.dll
// entry points over it: device information sets, device registry properties,
// the class installer (register, remove, property change), INF class lookup,
// OEM INF copies and driver installation by hardware id.
#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <unordered_set>

#include "platform/sim/simcore.h"
#include "platform/sim/stateread.h"
#include "platform/winapi.h"

namespace sim::detail {
namespace {

using plat::BOOL;
using plat::BYTE;
using plat::DWORD;
using plat::GUID;
using plat::HDEVINFO;
using plat::HWND;
using plat::LPCSTR;
using plat::LPSTR;

constexpr DWORD kErrorClassMismatch = 0xE0000201u;
constexpr DWORD kErrorInvalidDevinstName = 0xE0000205u;
constexpr DWORD kErrorInvalidRegProperty = 0xE0000209u;
constexpr DWORD kErrorNoClassinstallParams = 0xE0000215u;
constexpr DWORD kErrorInfInUseByDevices = 0xE000023Du;
constexpr DWORD kSpdrpDeviceDesc = 0x0;
constexpr DWORD kSpdrpClassGuid = 0x8;
constexpr DWORD kSpdrpMaximum = 0x25;
constexpr DWORD kSpCopyNoOverwrite = 0x8;
constexpr DWORD kSpsvcinstAssocService = 0x2;
constexpr DWORD kSuoiForceDelete = 0x1;
const char kClassKey[] = "SYSTEM\\CurrentControlSet\\Control\\Class\\";

struct DeviceRecord {
  sim::Device info;
  DWORD devInst = 0;
};
std::vector<DeviceRecord> theDevices;
DWORD theNextDevInst = 1;
std::map<std::string, std::string> theClassNames;  // "{GUID}" -> class name (learned)

// ---- Helpers ---------------------------------------------------------------------

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

std::string ClassNameOf(const GUID& g) {
  static const std::map<std::string, std::string> kKnown = {
      {"{4D36E972-E325-11CE-BFC1-08002BE10318}", "Net"},
      {"{4D36E96C-E325-11CE-BFC1-08002BE10318}", "MEDIA"},
      {"{4D36E97D-E325-11CE-BFC1-08002BE10318}", "System"},
      {"{4D36E978-E325-11CE-BFC1-08002BE10318}", "Ports"},
      {"{36FC9E60-C465-11CF-8056-444553540000}", "USB"},
      {"{745A17A0-74D3-11D0-B6FE-00A0C90F57DA}", "HIDClass"},
      {"{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}", "Image"},
  };
  std::string text = GuidText(g);
  if (auto it = theClassNames.find(text); it != theClassNames.end()) return it->second;
  if (auto it = kKnown.find(text); it != kKnown.end()) return it->second;
  return "Unknown";
}

DeviceRecord* DeviceByInst(DWORD devInst) {
  for (DeviceRecord& d : theDevices) {
    if (d.devInst == devInst) return &d;
  }
  return nullptr;
}

DeviceRecord* DeviceById(const std::string& id) {
  for (DeviceRecord& d : theDevices) {
    if (EqualNoCase(d.info.instanceId, id)) return &d;
  }
  return nullptr;
}

bool HasId(const sim::Device& d, const std::string& id) {
  return std::any_of(d.hardwareIds.begin(), d.hardwareIds.end(),
                     [&](const std::string& h) { return EqualNoCase(h, id); });
}

std::vector<std::string> ParseMultiSz(const BYTE* buffer, DWORD size) {
  std::vector<std::string> texts;
  std::string current;
  for (DWORD i = 0; buffer && i < size; ++i) {
    if (buffer[i] == 0) {
      if (current.empty()) break;
      texts.push_back(current);
      current.clear();
    } else {
      current += static_cast<char>(buffer[i]);
    }
  }
  if (!current.empty()) texts.push_back(current);
  return texts;
}

std::string MultiSz(const std::vector<std::string>& texts) {
  std::string out;
  for (const std::string& t : texts) {
    out += t;
    out += '\0';
  }
  out += '\0';
  return out;
}

// ---- INF files --------------------------------------------------------------------

struct InfLine {
  std::string key;
  std::string value;
};
struct Inf {
  std::map<std::string, std::vector<InfLine>> sections;  // by lower-case name

  const std::vector<InfLine>* Section(const std::string& name) const {
    auto it = sections.find(Lower(name));
    return it == sections.end() ? nullptr : &it->second;
  }
  std::string Get(const std::string& section, const std::string& key) const {
    if (const auto* lines = Section(section)) {
      for (const InfLine& line : *lines) {
        if (EqualNoCase(line.key, key)) return line.value;
      }
    }
    return {};
  }
};

std::string Trim(const std::string& text) {
  std::size_t b = text.find_first_not_of(" \t\r\n");
  if (b == std::string::npos) return {};
  std::size_t e = text.find_last_not_of(" \t\r\n");
  return text.substr(b, e - b + 1);
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
  if (!guidText.empty() && !className->empty()) theClassNames[GuidText(*guid)] = *className;
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

struct InfService {
  std::string name;
  DWORD flags = 0;
  DWORD type = plat::SERVICE_KERNEL_DRIVER;
  DWORD start = plat::SERVICE_DEMAND_START;
  DWORD errorControl = plat::SERVICE_ERROR_NORMAL;
  std::string binary;
  std::string group;
};

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

// Copies an INF into the INF directory as oemN.inf (an identical copy is
// reused); answers the file name.
bool CopyOemInf(LPCSTR source, DWORD copyStyle, std::string* name, DWORD* error) {
  Resolved from = Resolve(source);
  if (from.error != 0) {
    *error = from.error;
    return false;
  }
  if (!from.exists || from.isDirectory) {
    *error = from.exists ? plat::ERROR_ACCESS_DENIED : MissingError(from);
    return false;
  }
  std::string infDir = WindowsDirectory() + "\\inf";
  Resolved dir = Resolve(infDir.c_str());
  if (dir.error != 0 || !dir.isDirectory) {
    *error = plat::ERROR_PATH_NOT_FOUND;
    return false;
  }
  if (from.key.substr(0, from.key.find_last_of('/')) == dir.key) {
    *name = from.host.filename().string();
    return true;
  }
  std::string content;
  if (!ReadWhole(from.host, &content)) {
    *error = plat::ERROR_ACCESS_DENIED;
    return false;
  }
  for (int n = 0; n < 10000; ++n) {
    std::string candidate = "oem" + std::to_string(n) + ".inf";
    Resolved to = Resolve((infDir + "\\" + candidate).c_str());
    if (to.exists) {
      std::string existing;
      if (!to.isDirectory && ReadWhole(to.host, &existing) && existing == content) {
        *name = to.host.filename().string();
        if (copyStyle & kSpCopyNoOverwrite) {
          *error = plat::ERROR_FILE_EXISTS;
          return false;
        }
        return true;
      }
      continue;
    }
    Resolved pnf = Resolve((infDir + "\\oem" + std::to_string(n) + ".pnf").c_str());
    if (!WriteWhole(to.host, content) || !WriteWhole(pnf.host, "PNF " + candidate)) {
      *error = plat::ERROR_ACCESS_DENIED;
      return false;
    }
    Event("[inf] copy: " + std::string(source) + " -> " + infDir + "\\" + candidate);
    *name = candidate;
    return true;
  }
  *error = plat::ERROR_FILE_EXISTS;
  return false;
}

// ---- Device information sets -------------------------------------------------------

struct PropertyChange {
  DWORD stateChange = 0;
  DWORD scope = 0;
};

struct Element {
  DWORD devInst = 0;    // the device node, 0 until registered
  sim::Device pending;  // the new device's data before registration
  std::optional<PropertyChange> change;
  bool needReboot = false;
};

struct DeviceSet : Object {
  bool hasClass = false;
  GUID classGuid{};
  std::vector<std::optional<Element>> elements;  // index + 1 = SP_DEVINFO_DATA.Reserved
};

void Fill(const Element& e, std::size_t index, plat::SP_DEVINFO_DATA* data) {
  const DeviceRecord* d = e.devInst ? DeviceByInst(e.devInst) : nullptr;
  data->ClassGuid = d ? d->info.classGuid : e.pending.classGuid;
  data->DevInst = e.devInst;
  data->Reserved = index + 1;
}

// The element that `data` names in `set`; *error tells why not.
Element* ElementOf(DeviceSet* set, plat::SP_DEVINFO_DATA* data, DWORD* error) {
  if (data == nullptr) {
    *error = plat::ERROR_INVALID_PARAMETER;
    return nullptr;
  }
  if (data->cbSize != sizeof(plat::SP_DEVINFO_DATA)) {
    *error = kErrorInvalidUserBuffer;
    return nullptr;
  }
  std::size_t index = data->Reserved;
  if (index == 0 || index > set->elements.size() || !set->elements[index - 1]) {
    *error = plat::ERROR_INVALID_PARAMETER;
    return nullptr;
  }
  return &*set->elements[index - 1];
}

// The device data an element stands for: the device node, or the pending data.
sim::Device* DataOf(Element& e, DWORD* error) {
  if (e.devInst == 0) return &e.pending;
  DeviceRecord* d = DeviceByInst(e.devInst);
  if (!d) {
    *error = plat::ERROR_NO_SUCH_DEVINST;
    return nullptr;
  }
  return &d->info;
}

bool IdTaken(const std::string& id) {
  if (DeviceById(id)) return true;
  return false;
}

bool ApplyChange(Element& e, DWORD* error) {
  if (!e.change) {
    *error = kErrorNoClassinstallParams;
    return false;
  }
  DeviceRecord* d = e.devInst ? DeviceByInst(e.devInst) : nullptr;
  if (!d) {
    *error = plat::ERROR_NO_SUCH_DEVINST;
    return false;
  }
  if (e.change->stateChange == plat::DICS_ENABLE) {
    d->info.enabled = true;
    Event("[device] enable: " + d->info.instanceId);
    DWORD ignored = 0;
    if (!d->info.service.empty()) StartServiceByName(d->info.service, &ignored);
  } else if (e.change->stateChange == plat::DICS_DISABLE) {
    d->info.enabled = false;
    Event("[device] disable: " + d->info.instanceId);
  }
  e.needReboot = sim::GetProfile().deviceChangeNeedsReboot;
  return true;
}

// ---- Entry points ---------------------------------------------------------------------

HDEVINFO PLAT_WINAPI GetClassDevs(const GUID* classGuid, LPCSTR enumerator, HWND, DWORD flags) {
  DWORD code = 0;
  if (Inject(Op::SetupDiGetClassDevs, &code)) return Fail(code, plat::INVALID_HANDLE_VALUE);
  bool all = (flags & plat::DIGCF_ALLCLASSES) != 0;
  if (!all && classGuid == nullptr)
    return Fail(plat::ERROR_INVALID_PARAMETER, plat::INVALID_HANDLE_VALUE);
  auto set = std::make_unique<DeviceSet>();
  if (!all) {
    set->hasClass = true;
    set->classGuid = *classGuid;
  }
  std::string prefix = enumerator && *enumerator ? std::string(enumerator) + "\\" : "";
  for (const DeviceRecord& d : theDevices) {
    if (!all && !SameGuid(d.info.classGuid, *classGuid)) continue;
    if ((flags & plat::DIGCF_PRESENT) && !d.info.present) continue;
    if (!prefix.empty() && !EqualNoCase(d.info.instanceId.substr(0, prefix.size()), prefix))
      continue;
    Element e;
    e.devInst = d.devInst;
    set->elements.push_back(e);
  }
  SetError(plat::ERROR_SUCCESS);
  return AddHandle(std::move(set));
}

BOOL PLAT_WINAPI EnumDeviceInfo(HDEVINFO handle, DWORD index, plat::SP_DEVINFO_DATA* data) {
  DWORD code = 0;
  if (Inject(Op::SetupDiEnumDeviceInfo, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  if (data == nullptr) return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  if (data->cbSize != sizeof(plat::SP_DEVINFO_DATA))
    return Fail(kErrorInvalidUserBuffer, plat::FALSE);
  DWORD seen = 0;
  for (std::size_t i = 0; i < set->elements.size(); ++i) {
    if (!set->elements[i]) continue;
    if (seen++ == index) {
      Fill(*set->elements[i], i, data);
      SetError(plat::ERROR_SUCCESS);
      return plat::TRUE;
    }
  }
  return Fail(plat::ERROR_NO_MORE_ITEMS, plat::FALSE);
}

BOOL PLAT_WINAPI GetDeviceRegistryProperty(HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
                                           DWORD property, DWORD* type, BYTE* buffer, DWORD size,
                                           DWORD* required) {
  DWORD code = 0;
  if (Inject(Op::SetupDiGetDeviceRegistryProperty, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  Element* e = ElementOf(set, data, &code);
  if (!e) return Fail(code, plat::FALSE);
  sim::Device* d = DataOf(*e, &code);
  if (!d) return Fail(code, plat::FALSE);
  std::string value;
  DWORD valueType = plat::REG_SZ;
  auto text = [&](const std::string& t) {
    if (t.empty()) return false;
    value = t + '\0';
    return true;
  };
  bool have = false;
  switch (property) {
    case plat::SPDRP_HARDWAREID:
      have = !d->hardwareIds.empty();
      value = MultiSz(d->hardwareIds);
      valueType = plat::REG_MULTI_SZ;
      break;
    case plat::SPDRP_SERVICE:
      have = text(d->service);
      break;
    case plat::SPDRP_CLASS:
      have = text(d->className);
      break;
    case kSpdrpClassGuid:
      have = text(GuidText(d->classGuid));
      break;
    case plat::SPDRP_DRIVER:
      have = text(d->driverKey);
      break;
    case kSpdrpDeviceDesc:
    case plat::SPDRP_COMPATIBLEIDS:
      break;
    default:
      if (property >= kSpdrpMaximum) return Fail(kErrorInvalidRegProperty, plat::FALSE);
  }
  if (!have) return Fail(plat::ERROR_INVALID_DATA, plat::FALSE);
  auto needed = static_cast<DWORD>(value.size());
  if (type) *type = valueType;
  if (required) *required = needed;
  if (buffer == nullptr || size < needed) return Fail(plat::ERROR_INSUFFICIENT_BUFFER, plat::FALSE);
  std::memcpy(buffer, value.data(), needed);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI SetDeviceRegistryProperty(HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
                                           DWORD property, const BYTE* buffer, DWORD size) {
  DWORD code = 0;
  if (Inject(Op::SetupDiSetDeviceRegistryProperty, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  Element* e = ElementOf(set, data, &code);
  if (!e) return Fail(code, plat::FALSE);
  sim::Device* d = DataOf(*e, &code);
  if (!d) return Fail(code, plat::FALSE);
  if (property != plat::SPDRP_HARDWAREID) return Fail(kErrorInvalidRegProperty, plat::FALSE);
  if (buffer == nullptr && size > 0) return Fail(kErrorNoAccess, plat::FALSE);
  d->hardwareIds = ParseMultiSz(buffer, size);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI CallClassInstaller(DWORD function, HDEVINFO handle, plat::SP_DEVINFO_DATA* data) {
  DWORD code = 0;
  if (Inject(Op::SetupDiCallClassInstaller, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  if (function != plat::DIF_REGISTERDEVICE && function != plat::DIF_REMOVE &&
      function != plat::DIF_PROPERTYCHANGE) {
    SetError(plat::ERROR_SUCCESS);
    return plat::TRUE;  // nothing to do for other installer functions
  }
  Element* e = ElementOf(set, data, &code);
  if (!e) return Fail(code, plat::FALSE);
  const sim::Profile& profile = sim::GetProfile();
  if (function == plat::DIF_REGISTERDEVICE) {
    if (e->devInst != 0) return Fail(plat::ERROR_DEVINST_ALREADY_EXISTS, plat::FALSE);
    if (IdTaken(e->pending.instanceId))
      return Fail(plat::ERROR_DEVINST_ALREADY_EXISTS, plat::FALSE);
    DeviceRecord record;
    record.info = e->pending;
    record.devInst = theNextDevInst++;
    theDevices.push_back(record);
    e->devInst = record.devInst;
    e->needReboot = profile.deviceChangeNeedsReboot;
    Event("[device] register: " + record.info.instanceId);
  } else if (function == plat::DIF_REMOVE) {
    DeviceRecord* d = e->devInst ? DeviceByInst(e->devInst) : nullptr;
    if (!d) return Fail(plat::ERROR_NO_SUCH_DEVINST, plat::FALSE);
    Event("[device] remove: " + d->info.instanceId);
    theDevices.erase(theDevices.begin() + (d - theDevices.data()));
    e->needReboot = profile.deviceChangeNeedsReboot;
  } else if (!ApplyChange(*e, &code)) {
    return Fail(code, plat::FALSE);
  }
  Fill(*e, static_cast<std::size_t>(data->Reserved - 1), data);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI DestroyDeviceInfoList(HDEVINFO handle) {
  if (!Find<DeviceSet>(handle)) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  RemoveHandle(handle);
  return plat::TRUE;
}

BOOL PLAT_WINAPI GetINFClass(LPCSTR infPath, GUID* classGuid, LPSTR className, DWORD classNameSize,
                             DWORD* required) {
  DWORD code = 0;
  if (Inject(Op::SetupDiGetINFClass, &code)) return Fail(code, plat::FALSE);
  if (infPath == nullptr || classGuid == nullptr)
    return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  Inf inf;
  std::string name;
  GUID guid{};
  if (!ReadInf(infPath, &inf, &code) || !InfClass(inf, &name, &guid, &code)) {
    return Fail(code, plat::FALSE);
  }
  if (name.empty()) name = ClassNameOf(guid);
  if (required) *required = static_cast<DWORD>(name.size() + 1);
  if (className == nullptr || classNameSize < name.size() + 1) {
    return Fail(plat::ERROR_INSUFFICIENT_BUFFER, plat::FALSE);
  }
  std::memcpy(className, name.c_str(), name.size() + 1);
  *classGuid = guid;
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

HDEVINFO PLAT_WINAPI CreateDeviceInfoList(const GUID* classGuid, HWND) {
  DWORD code = 0;
  if (Inject(Op::SetupDiCreateDeviceInfoList, &code)) return Fail(code, plat::INVALID_HANDLE_VALUE);
  auto set = std::make_unique<DeviceSet>();
  if (classGuid) {
    set->hasClass = true;
    set->classGuid = *classGuid;
  }
  SetError(plat::ERROR_SUCCESS);
  return AddHandle(std::move(set));
}

BOOL PLAT_WINAPI CreateDeviceInfo(HDEVINFO handle, LPCSTR name, const GUID* classGuid, LPCSTR, HWND,
                                  DWORD flags, plat::SP_DEVINFO_DATA* data) {
  DWORD code = 0;
  if (Inject(Op::SetupDiCreateDeviceInfo, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  if (classGuid == nullptr) return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  if (data && data->cbSize != sizeof(plat::SP_DEVINFO_DATA)) {
    return Fail(kErrorInvalidUserBuffer, plat::FALSE);
  }
  std::string n = name ? name : "";
  if (n.empty() || n.size() > 200) return Fail(kErrorInvalidDevinstName, plat::FALSE);
  if (set->hasClass && !SameGuid(set->classGuid, *classGuid)) {
    return Fail(kErrorClassMismatch, plat::FALSE);
  }
  std::string id;
  if (flags & plat::DICD_GENERATE_ID) {
    if (n.find('\\') != std::string::npos) return Fail(kErrorInvalidDevinstName, plat::FALSE);
    std::string upper = n;
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    for (int number = 0; number < 10000 && id.empty(); ++number) {
      char suffix[16];
      std::snprintf(suffix, sizeof suffix, "%04d", number);
      std::string candidate = "ROOT\\" + upper + "\\" + suffix;
      bool pending = std::any_of(set->elements.begin(), set->elements.end(), [&](const auto& e) {
        return e && e->devInst == 0 && EqualNoCase(e->pending.instanceId, candidate);
      });
      if (!IdTaken(candidate) && !pending) id = candidate;
    }
    if (id.empty()) return Fail(kErrorInvalidDevinstName, plat::FALSE);
  } else {
    if (IdTaken(n)) return Fail(plat::ERROR_DEVINST_ALREADY_EXISTS, plat::FALSE);
    id = n;
  }
  Element e;
  e.pending.instanceId = id;
  e.pending.classGuid = *classGuid;
  e.pending.className = ClassNameOf(*classGuid);
  set->elements.push_back(e);
  if (data) Fill(*set->elements.back(), set->elements.size() - 1, data);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI DeleteDeviceInfo(HDEVINFO handle, plat::SP_DEVINFO_DATA* data) {
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  DWORD code = 0;
  if (!ElementOf(set, data, &code)) return Fail(code, plat::FALSE);
  set->elements[data->Reserved - 1].reset();
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI GetDeviceInstallParams(HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
                                        plat::SP_DEVINSTALL_PARAMS_A* params) {
  DWORD code = 0;
  if (Inject(Op::SetupDiGetDeviceInstallParams, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  if (params == nullptr) return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  if (params->cbSize != sizeof(plat::SP_DEVINSTALL_PARAMS_A)) {
    return Fail(kErrorInvalidUserBuffer, plat::FALSE);
  }
  bool reboot = false;
  if (data != nullptr) {
    Element* e = ElementOf(set, data, &code);
    if (!e) return Fail(code, plat::FALSE);
    reboot = e->needReboot;
  }
  std::memset(reinterpret_cast<char*>(params) + sizeof(DWORD), 0,
              sizeof(plat::SP_DEVINSTALL_PARAMS_A) - sizeof(DWORD));
  params->Flags = reboot ? plat::DI_NEEDREBOOT : 0;
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI SetClassInstallParams(HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
                                       plat::SP_CLASSINSTALL_HEADER* params, DWORD size) {
  DWORD code = 0;
  if (Inject(Op::SetupDiSetClassInstallParams, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  Element* e = ElementOf(set, data, &code);
  if (!e) return Fail(code, plat::FALSE);
  if (params == nullptr) {
    e->change.reset();
    SetError(plat::ERROR_SUCCESS);
    return plat::TRUE;
  }
  if (params->cbSize != sizeof(plat::SP_CLASSINSTALL_HEADER)) {
    return Fail(kErrorInvalidUserBuffer, plat::FALSE);
  }
  if (params->InstallFunction == plat::DIF_PROPERTYCHANGE) {
    if (size != sizeof(plat::SP_PROPCHANGE_PARAMS)) {
      return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
    }
    plat::SP_PROPCHANGE_PARAMS change;
    std::memcpy(&change, params, sizeof change);
    if (change.StateChange < plat::DICS_ENABLE || change.StateChange > 5 ||
        (change.Scope != plat::DICS_FLAG_GLOBAL &&
         change.Scope != plat::DICS_FLAG_CONFIGSPECIFIC)) {
      return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
    }
    e->change = PropertyChange{change.StateChange, change.Scope};
  }
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI ChangeState(HDEVINFO handle, plat::SP_DEVINFO_DATA* data) {
  DWORD code = 0;
  if (Inject(Op::SetupDiChangeState, &code)) return Fail(code, plat::FALSE);
  auto* set = Find<DeviceSet>(handle);
  if (!set) return Fail(plat::ERROR_INVALID_HANDLE, plat::FALSE);
  Element* e = ElementOf(set, data, &code);
  if (!e) return Fail(code, plat::FALSE);
  if (!ApplyChange(*e, &code)) return Fail(code, plat::FALSE);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI CopyOEMInf(LPCSTR source, LPCSTR, DWORD, DWORD copyStyle, LPSTR destination,
                            DWORD destinationSize, DWORD* required, LPSTR* component) {
  DWORD code = 0;
  if (Inject(Op::SetupCopyOEMInf, &code)) return Fail(code, plat::FALSE);
  if (source == nullptr) return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  std::string name;
  bool copied = CopyOemInf(source, copyStyle, &name, &code);
  if (!copied && name.empty()) return Fail(code, plat::FALSE);
  std::string full = WindowsDirectory() + "\\inf\\" + name;
  if (required) *required = static_cast<DWORD>(full.size() + 1);
  if (destination) {
    if (destinationSize < full.size() + 1)
      return Fail(plat::ERROR_INSUFFICIENT_BUFFER, plat::FALSE);
    std::memcpy(destination, full.c_str(), full.size() + 1);
    if (component) *component = destination + (full.size() - name.size());
  }
  if (!copied) return Fail(code, plat::FALSE);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI UninstallOEMInf(LPCSTR infFileName, DWORD flags, void*) {
  if (infFileName == nullptr || std::strpbrk(infFileName, "\\/:") != nullptr) {
    return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  }
  std::string infDir = WindowsDirectory() + "\\inf\\";
  Resolved inf = Resolve((infDir + infFileName).c_str());
  if (inf.error != 0) return Fail(inf.error, plat::FALSE);
  if (!inf.exists || inf.isDirectory) return Fail(plat::ERROR_FILE_NOT_FOUND, plat::FALSE);
  bool used = std::any_of(theDevices.begin(), theDevices.end(), [&](const DeviceRecord& d) {
    return EqualNoCase(d.info.infName, infFileName);
  });
  if (used && !(flags & kSuoiForceDelete)) return Fail(kErrorInfInUseByDevices, plat::FALSE);
  std::string pnf = infFileName;
  if (pnf.size() >= 3) pnf.replace(pnf.size() - 3, 3, "pnf");
  std::error_code ec;
  fs::remove(inf.host, ec);
  ForgetAttributes(inf.key);
  Resolved compiled = Resolve((infDir + pnf).c_str());
  if (compiled.error == 0 && compiled.exists) {
    fs::remove(compiled.host, ec);
    ForgetAttributes(compiled.key);
  }
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

bool RegKeyExists(const std::string& path) {
  plat::HKEY key = nullptr;
  if (plat::RegOpenKeyExA(plat::HKEY_LOCAL_MACHINE, path.c_str(), 0, plat::KEY_READ, &key) != 0) {
    return false;
  }
  plat::RegCloseKey(key);
  return true;
}

BOOL PLAT_WINAPI UpdateDriver(HWND, LPCSTR hardwareId, LPCSTR infPath, DWORD flags,
                              BOOL* rebootRequired) {
  if (rebootRequired) *rebootRequired = plat::FALSE;
  DWORD code = 0;
  if (Inject(Op::UpdateDriverForPlugAndPlayDevices, &code)) return Fail(code, plat::FALSE);
  if (hardwareId == nullptr || *hardwareId == '\0' || infPath == nullptr) {
    return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  }
  if (flags & ~0x7u) return Fail(kErrorInvalidFlags, plat::FALSE);
  Inf inf;
  if (!ReadInf(infPath, &inf, &code)) return Fail(code, plat::FALSE);
  std::vector<DWORD> targets;
  for (const DeviceRecord& d : theDevices) {
    if (d.info.present && HasId(d.info, hardwareId)) targets.push_back(d.devInst);
  }
  if (targets.empty()) return Fail(plat::ERROR_NO_SUCH_DEVINST, plat::FALSE);
  std::string oemName;
  if (!CopyOemInf(infPath, 0, &oemName, &code)) return Fail(code, plat::FALSE);

  std::string className;
  GUID guid{};
  bool hasClass = InfClass(inf, &className, &guid, &code);
  std::string install, description;
  if (!FindModel(inf, hardwareId, &install, &description)) description = hardwareId;
  std::string service;
  for (const InfService& s : InstallServices(inf, install)) {
    if (!EnsureService(s.name, s.type, s.start, s.errorControl, s.binary, s.group)) continue;
    if (service.empty() || (s.flags & kSpsvcinstAssocService)) service = s.name;
  }
  for (DWORD devInst : targets) {
    DeviceRecord* d = DeviceByInst(devInst);
    if (hasClass) {
      d->info.classGuid = guid;
      d->info.className = className.empty() ? ClassNameOf(guid) : className;
    }
    std::string guidText = GuidText(d->info.classGuid);
    if (d->info.driverKey.empty()) {
      for (int n = 0; n < 10000; ++n) {
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, "%04d", n);
        std::string candidate = guidText + "\\" + suffix;
        bool used = std::any_of(theDevices.begin(), theDevices.end(), [&](const DeviceRecord& o) {
          return EqualNoCase(o.info.driverKey, candidate);
        });
        if (!used && !RegKeyExists(kClassKey + candidate)) {
          d->info.driverKey = candidate;
          break;
        }
      }
    }
    std::string key = kClassKey + d->info.driverKey;
    RegWriteString(plat::HKEY_LOCAL_MACHINE, kClassKey + guidText, "Class", d->info.className);
    RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "InfPath", oemName);
    RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "InfSection", install);
    RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "DriverDesc", description);
    RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "MatchingDeviceId", Lower(hardwareId));
    d->info.service = service;
    d->info.infName = oemName;
    Event("[device] driver: " + d->info.instanceId + " <- " + oemName + " (service " +
          (service.empty() ? std::string("none") : service) + ")");
    DWORD ignored = 0;
    if (d->info.enabled && !service.empty()) StartServiceByName(service, &ignored);
  }
  if (rebootRequired) {
    *rebootRequired = sim::GetProfile().driverUpdateNeedsReboot ? plat::TRUE : plat::FALSE;
  }
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

// Every entry point of the simulated libraries, by library and name.
struct EntryPoint {
  const char* library;
  const char* name;
  plat::FARPROC proc;
};

template <class F>
plat::FARPROC Proc(F f) {
  return reinterpret_cast<plat::FARPROC>(f);
}

const std::vector<EntryPoint>& EntryPoints() {
  static const std::vector<EntryPoint> kEntries = {
      {"setupapi.dll", "SetupDiGetClassDevsA", Proc(&GetClassDevs)},
      {"setupapi.dll", "SetupDiEnumDeviceInfo", Proc(&EnumDeviceInfo)},
      {"setupapi.dll", "SetupDiGetDeviceRegistryPropertyA", Proc(&GetDeviceRegistryProperty)},
      {"setupapi.dll", "SetupDiCallClassInstaller", Proc(&CallClassInstaller)},
      {"setupapi.dll", "SetupDiDestroyDeviceInfoList", Proc(&DestroyDeviceInfoList)},
      {"setupapi.dll", "SetupDiGetINFClassA", Proc(&GetINFClass)},
      {"setupapi.dll", "SetupDiCreateDeviceInfoList", Proc(&CreateDeviceInfoList)},
      {"setupapi.dll", "SetupDiCreateDeviceInfoA", Proc(&CreateDeviceInfo)},
      {"setupapi.dll", "SetupDiSetDeviceRegistryPropertyA", Proc(&SetDeviceRegistryProperty)},
      {"setupapi.dll", "SetupDiDeleteDeviceInfo", Proc(&DeleteDeviceInfo)},
      {"setupapi.dll", "SetupDiGetDeviceInstallParamsA", Proc(&GetDeviceInstallParams)},
      {"setupapi.dll", "SetupDiSetClassInstallParamsA", Proc(&SetClassInstallParams)},
      {"setupapi.dll", "SetupDiChangeState", Proc(&ChangeState)},
      {"setupapi.dll", "SetupCopyOEMInfA", Proc(&CopyOEMInf)},
      {"setupapi.dll", "SetupUninstallOEMInfA", Proc(&UninstallOEMInf)},
      {"newdev.dll", "UpdateDriverForPlugAndPlayDevicesA", Proc(&UpdateDriver)},
  };
  return kEntries;
}

// The direct calls behave like calls through GetProcAddress of SetupApi.dll.
bool Available(const char* name) {
  DWORD code = 0;
  if (LibraryEntryAvailable("SetupApi.dll", name, &code)) return true;
  SetError(code);
  return false;
}

}  // namespace

plat::FARPROC DeviceEntryPoint(const std::string& library, const std::string& name) {
  for (const EntryPoint& e : EntryPoints()) {
    if (EqualNoCase(library, e.library) && name == e.name) return e.proc;
  }
  return nullptr;
}

void LoadDevices(const Json& state) {
  theDevices.clear();
  theClassNames.clear();
  theNextDevInst = 1;
  if (const Json* list = Member(state, "devices")) {
    const Where where("devices");
    std::unordered_set<std::string> seen;  // lower-case ids: the first of an id wins
    for (std::size_t i = 0; i < ExpectArray(*list, where).size(); ++i) {
      const Json& node = (*list)[i];
      const Where here(where, i);
      ExpectObject(node, here);
      DeviceRecord d;
      Get(node, here, "instanceId", &d.info.instanceId);
      if (const Json* ids = Member(node, "hardwareIds")) {
        const Where at(here, "hardwareIds");
        for (std::size_t k = 0; k < ExpectArray(*ids, at).size(); ++k) {
          d.info.hardwareIds.push_back(ReadString((*ids)[k], Where(at, k)));
        }
      }
      Get(node, here, "className", &d.info.className);
      std::string guid;
      Get(node, here, "classGuid", &guid);
      if (!guid.empty() && !ParseGuid(guid, &d.info.classGuid)) {
        Where(here, "classGuid").Fail("must be a GUID, not \"" + guid.substr(0, 40) + "\"");
      }
      Get(node, here, "service", &d.info.service);
      Get(node, here, "driverKey", &d.info.driverKey);
      Get(node, here, "infName", &d.info.infName);
      Get(node, here, "enabled", &d.info.enabled);
      Get(node, here, "present", &d.info.present);
      if (d.info.instanceId.empty() || !seen.insert(Lower(d.info.instanceId)).second) continue;
      d.devInst = theNextDevInst++;
      theDevices.push_back(std::move(d));
    }
  }
  if (const Json* names = Member(state, "classNames")) {
    const Where where("classNames");
    ExpectObject(*names, where);
    for (auto it = names->begin(); it != names->end(); ++it) {
      theClassNames[it.key()] = ReadString(it.value(), Where(where, it.key()));
    }
  }
}

void SaveDevices(Json& state) {
  Json list = Json::array();
  for (const DeviceRecord& d : theDevices) {
    list.push_back({{"instanceId", d.info.instanceId},
                    {"hardwareIds", d.info.hardwareIds},
                    {"className", d.info.className},
                    {"classGuid", GuidText(d.info.classGuid)},
                    {"service", d.info.service},
                    {"driverKey", d.info.driverKey},
                    {"infName", d.info.infName},
                    {"enabled", d.info.enabled},
                    {"present", d.info.present}});
  }
  state["devices"] = list;
  state["classNames"] = theClassNames;
}

}  // namespace sim::detail

namespace sim {

bool AddDevice(const Device& device) {
  using namespace detail;
  detail::M();
  if (device.instanceId.empty() || DeviceById(device.instanceId)) return false;
  DeviceRecord record;
  record.info = device;
  if (record.info.className.empty()) record.info.className = ClassNameOf(device.classGuid);
  record.devInst = theNextDevInst++;
  theDevices.push_back(record);
  return true;
}

std::vector<Device> Devices() {
  detail::M();
  std::vector<Device> list;
  for (const auto& d : detail::theDevices) list.push_back(d.info);
  return list;
}

}  // namespace sim

namespace plat {

using namespace sim::detail;

BOOL SetupDiSetClassInstallParamsA(HDEVINFO set, SP_DEVINFO_DATA* data,
                                   SP_CLASSINSTALL_HEADER* params, DWORD size) {
  if (!Available("SetupDiSetClassInstallParamsA")) return FALSE;
  return SetClassInstallParams(set, data, params, size);
}

BOOL SetupDiChangeState(HDEVINFO set, SP_DEVINFO_DATA* data) {
  if (!Available("SetupDiChangeState")) return FALSE;
  return ChangeState(set, data);
}

HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid, HWND parent) {
  if (!Available("SetupDiCreateDeviceInfoList")) return INVALID_HANDLE_VALUE;
  return CreateDeviceInfoList(classGuid, parent);
}

BOOL SetupCopyOEMInfA(LPCSTR source, LPCSTR mediaLocation, DWORD mediaType, DWORD copyStyle,
                      LPSTR destination, DWORD destinationSize, DWORD* required, LPSTR* component) {
  if (!Available("SetupCopyOEMInfA")) return FALSE;
  return CopyOEMInf(source, mediaLocation, mediaType, copyStyle, destination, destinationSize,
                    required, component);
}

BOOL SetupUninstallOEMInfA(LPCSTR infFileName, DWORD flags, void* reserved) {
  if (!Available("SetupUninstallOEMInfA")) return FALSE;
  return UninstallOEMInf(infFileName, flags, reserved);
}

}  // namespace plat
