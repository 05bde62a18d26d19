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
#include <set>

#include "platform/sim/inf.h"
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

const char kEnumKey[] = "SYSTEM\\CurrentControlSet\\Enum";
constexpr DWORD kConfigFlagDisabled = 0x1;  // CONFIGFLAG_DISABLED

// Device nodes are numbered as the machine first meets them, like the
// devnode handles of a boot; the records themselves live in the registry.
std::map<std::string, DWORD> theDevInsts;  // lower-case instance id -> devnode
std::vector<std::string> theDevInstIds;    // devnode - 1 -> instance id
// Devices whose hardware is not attached (persisted with the machine).
std::set<std::string> theAbsent;  // lower-case instance ids

// ---- Helpers ---------------------------------------------------------------------

std::string EnumPath(const std::string& instanceId) {
  return std::string(kEnumKey) + "\\" + instanceId;
}

std::string ReadText(const std::string& path, const std::string& name) {
  DWORD type = 0;
  std::vector<BYTE> data;
  if (!RegReadValue(plat::HKEY_LOCAL_MACHINE, path, name, &type, &data)) return {};
  if (type != plat::REG_SZ && type != plat::REG_EXPAND_SZ) return {};
  std::string text(data.begin(), data.end());
  return text.substr(0, text.find('\0'));
}

std::vector<std::string> ParseMultiSz(const BYTE* buffer, DWORD size);

std::vector<std::string> ReadTexts(const std::string& path, const std::string& name) {
  DWORD type = 0;
  std::vector<BYTE> data;
  if (!RegReadValue(plat::HKEY_LOCAL_MACHINE, path, name, &type, &data) ||
      type != plat::REG_MULTI_SZ) {
    return {};
  }
  return ParseMultiSz(data.data(), static_cast<DWORD>(data.size()));
}

std::optional<DWORD> ReadNumber(const std::string& path, const std::string& name) {
  DWORD type = 0;
  std::vector<BYTE> data;
  if (!RegReadValue(plat::HKEY_LOCAL_MACHINE, path, name, &type, &data) ||
      type != plat::REG_DWORD || data.size() != sizeof(DWORD)) {
    return std::nullopt;
  }
  DWORD value = 0;
  std::memcpy(&value, data.data(), sizeof value);
  return value;
}

// Writes a text value, or removes the value when the text is empty.
void WriteTextOrRemove(const std::string& path, const std::string& name, const std::string& text) {
  if (text.empty()) {
    RegRemoveValue(plat::HKEY_LOCAL_MACHINE, path, name);
  } else {
    RegWriteString(plat::HKEY_LOCAL_MACHINE, path, name, text);
  }
}

std::string MultiSz(const std::vector<std::string>& texts);

void WriteTextsOrRemove(const std::string& path, const std::string& name,
                        const std::vector<std::string>& texts) {
  if (texts.empty()) {
    RegRemoveValue(plat::HKEY_LOCAL_MACHINE, path, name);
    return;
  }
  std::string data = MultiSz(texts);
  RegWriteValue(plat::HKEY_LOCAL_MACHINE, path, name, plat::REG_MULTI_SZ, data.data(), data.size());
}

// The class name under Control\Class\{GUID}; "Unknown" for a class nobody named.
std::string ClassNameOf(const GUID& g) {
  std::string name = ReadText(kClassKey + GuidText(g), "Class");
  return name.empty() ? "Unknown" : name;
}

// Records the class name that an INF gives its class GUID, as the class
// installer does when it meets a new class.
void LearnClassName(const GUID& guid, const std::string& name) {
  std::string key = kClassKey + GuidText(guid);
  if (!name.empty() && ReadText(key, "Class").empty()) {
    RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "", name);
    RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "Class", name);
  }
}

// ---- Device records (Enum\<enumerator>\<device>\<instance>) ---------------------

// Every device instance id in the registry, in the registry's order.
std::vector<std::string> InstanceIds() {
  std::vector<std::string> ids;
  const std::string root = kEnumKey;
  for (const std::string& enumerator : RegSubkeys(plat::HKEY_LOCAL_MACHINE, root)) {
    const std::string a = root + "\\" + enumerator;
    for (const std::string& device : RegSubkeys(plat::HKEY_LOCAL_MACHINE, a)) {
      const std::string b = a + "\\" + device;
      for (const std::string& instance : RegSubkeys(plat::HKEY_LOCAL_MACHINE, b)) {
        ids.push_back(enumerator + "\\" + device + "\\" + instance);
      }
    }
  }
  return ids;
}

DWORD DevInstOf(const std::string& instanceId) {
  const std::string key = Lower(instanceId);
  if (auto it = theDevInsts.find(key); it != theDevInsts.end()) return it->second;
  theDevInstIds.push_back(instanceId);
  const auto devInst = static_cast<DWORD>(theDevInstIds.size());
  theDevInsts[key] = devInst;
  return devInst;
}

bool DeviceExists(const std::string& instanceId) {
  return std::count(instanceId.begin(), instanceId.end(), '\\') == 2 &&
         RegKeyPresent(plat::HKEY_LOCAL_MACHINE, EnumPath(instanceId));
}

std::optional<sim::Device> ReadDevice(const std::string& instanceId) {
  if (!DeviceExists(instanceId)) return std::nullopt;
  const std::string key = EnumPath(instanceId);
  sim::Device d;
  d.instanceId = instanceId;
  d.hardwareIds = ReadTexts(key, "HardwareID");
  d.compatibleIds = ReadTexts(key, "CompatibleIDs");
  d.className = ReadText(key, "Class");
  ParseGuid(ReadText(key, "ClassGUID"), &d.classGuid);
  d.service = ReadText(key, "Service");
  d.driverKey = ReadText(key, "Driver");
  d.description = ReadText(key, "DeviceDesc");
  d.enabled = (ReadNumber(key, "ConfigFlags").value_or(0) & kConfigFlagDisabled) == 0;
  d.present = theAbsent.count(Lower(instanceId)) == 0;
  if (!d.driverKey.empty()) d.infName = ReadText(kClassKey + d.driverKey, "InfPath");
  return d;
}

void WriteDevice(const sim::Device& d) {
  const std::string key = EnumPath(d.instanceId);
  WriteTextsOrRemove(key, "HardwareID", d.hardwareIds);
  WriteTextsOrRemove(key, "CompatibleIDs", d.compatibleIds);
  const bool hasClass = !d.className.empty() || !SameGuid(d.classGuid, GUID{});
  WriteTextOrRemove(key, "ClassGUID", hasClass ? GuidText(d.classGuid) : std::string());
  WriteTextOrRemove(key, "Class", hasClass ? d.className : std::string());
  WriteTextOrRemove(key, "Driver", d.driverKey);
  WriteTextOrRemove(key, "Service", d.service);
  WriteTextOrRemove(key, "DeviceDesc", d.description);
  const DWORD flags = (ReadNumber(key, "ConfigFlags").value_or(0) & ~kConfigFlagDisabled) |
                      (d.enabled ? 0 : kConfigFlagDisabled);
  RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "ConfigFlags", flags);
  if (d.present) {
    theAbsent.erase(Lower(d.instanceId));
  } else {
    theAbsent.insert(Lower(d.instanceId));
  }
  DevInstOf(d.instanceId);
}

// Deletes the device's Enum key and the device and enumerator keys it leaves empty.
void DeleteDevice(const std::string& instanceId) {
  const std::string key = EnumPath(instanceId);
  RegDeleteTree(plat::HKEY_LOCAL_MACHINE, key);
  RegPruneEmpty(plat::HKEY_LOCAL_MACHINE, key.substr(0, key.find_last_of('\\')), kEnumKey);
  theAbsent.erase(Lower(instanceId));
}

std::optional<sim::Device> DeviceByInst(DWORD devInst) {
  if (devInst == 0 || devInst > theDevInstIds.size()) return std::nullopt;
  return ReadDevice(theDevInstIds[devInst - 1]);
}

bool IdTaken(const std::string& id) {
  return DeviceExists(id);
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

// Copies an INF into the INF directory as oemN.inf (an identical copy is
// reused); answers the file name.
bool CopyOemInf(LPCSTR source, DWORD copyStyle, std::string* name, DWORD* error) {
  Resolved from = ResolveInProcess(source);
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
    *name = from.path.substr(from.path.find_last_of('/') + 1);
    return true;
  }
  std::string content;
  if (!Files().ReadAll(from.path, &content)) {
    *error = plat::ERROR_ACCESS_DENIED;
    return false;
  }
  // The same INF installed again keeps its oemNN name; a new one takes the
  // lowest free number.
  constexpr int kMaxOem = 10000;
  std::map<int, StoreEntry> taken;
  for (StoreEntry& entry : Files().List(dir.path)) {
    const std::string file = Lower(entry.name);
    int n = 0;
    if (std::sscanf(file.c_str(), "oem%d.inf", &n) == 1 && n >= 0 && n < kMaxOem &&
        file == "oem" + std::to_string(n) + ".inf") {
      taken[n] = std::move(entry);
    }
  }
  for (const auto& [n, entry] : taken) {
    std::string existing;
    if (!entry.isDirectory && Files().ReadAll(dir.path + "/" + entry.name, &existing) &&
        existing == content) {
      *name = entry.name;
      if (copyStyle & kSpCopyNoOverwrite) {
        *error = plat::ERROR_FILE_EXISTS;
        return false;
      }
      return true;
    }
  }
  int free = -1;
  for (int n = 0; n < kMaxOem && free < 0; ++n) {
    if (!taken.count(n)) free = n;
  }
  if (free < 0) {
    *error = plat::ERROR_FILE_EXISTS;
    return false;
  }
  std::string candidate = "oem" + std::to_string(free) + ".inf";
  Resolved to = Resolve((infDir + "\\" + candidate).c_str());
  Resolved pnf = Resolve((infDir + "\\oem" + std::to_string(free) + ".pnf").c_str());
  if (!Files().WriteAll(to.path, content) ||
      !Files().WriteAll(pnf.path, "PNF " + std::string(source))) {
    *error = plat::ERROR_ACCESS_DENIED;
    return false;
  }
  Event("[inf] copy: " + std::string(source) + " -> " + infDir + "\\" + candidate);
  *name = candidate;
  return true;
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
  std::optional<sim::Device> d = e.devInst ? DeviceByInst(e.devInst) : std::nullopt;
  data->ClassGuid = d ? d->classGuid : e.pending.classGuid;
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
std::optional<sim::Device> DataOf(const Element& e, DWORD* error) {
  if (e.devInst == 0) return e.pending;
  std::optional<sim::Device> d = DeviceByInst(e.devInst);
  if (!d) *error = plat::ERROR_NO_SUCH_DEVINST;
  return d;
}

// Stores changed device data where DataOf found it.
void StoreData(Element& e, const sim::Device& d) {
  if (e.devInst == 0) {
    e.pending = d;
  } else {
    WriteDevice(d);
  }
}

bool ApplyChange(Element& e, DWORD* error) {
  if (!e.change) {
    *error = kErrorNoClassinstallParams;
    return false;
  }
  std::optional<sim::Device> d = e.devInst ? DeviceByInst(e.devInst) : std::nullopt;
  if (!d) {
    *error = plat::ERROR_NO_SUCH_DEVINST;
    return false;
  }
  if (e.change->stateChange == plat::DICS_ENABLE) {
    d->enabled = true;
    WriteDevice(*d);
    Event("[device] enable: " + d->instanceId);
    DWORD ignored = 0;
    if (!d->service.empty()) StartServiceByName(d->service, &ignored);
  } else if (e.change->stateChange == plat::DICS_DISABLE) {
    d->enabled = false;
    WriteDevice(*d);
    Event("[device] disable: " + d->instanceId);
  }
  e.needReboot = sim::GetProfile().deviceChangeNeedsReboot;
  return true;
}

// The opening shared by the entry points that act on a device set: the fault
// hook of the operation, the set's handle and, where wanted, the element that
// `data` names.
enum class ElementUse { None, Required, Optional };
struct SetCall {
  DeviceSet* set = nullptr;
  Element* element = nullptr;
  DWORD error = 0;  // non-zero: the entry point fails with it
};
SetCall Enter(std::optional<Op> op, HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
              ElementUse use = ElementUse::Required) {
  SetCall call;
  if (op && Inject(*op, &call.error)) return call;
  call.set = Find<DeviceSet>(handle);
  if (!call.set) {
    call.error = plat::ERROR_INVALID_HANDLE;
  } else if (use == ElementUse::Required || (use == ElementUse::Optional && data != nullptr)) {
    call.element = ElementOf(call.set, data, &call.error);
  }
  return call;
}

// Calls that install or change devices are refused to a 32-bit process on
// 64-bit Windows.
bool RefusedInWow64(DWORD* error) {
  if (!sim::Wow64Process()) return false;
  *error = plat::ERROR_IN_WOW64;
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
  for (const std::string& id : InstanceIds()) {
    std::optional<sim::Device> d = ReadDevice(id);
    if (!d) continue;
    if (!all && !SameGuid(d->classGuid, *classGuid)) continue;
    if ((flags & plat::DIGCF_PRESENT) && !d->present) continue;
    if (!prefix.empty() && !EqualNoCase(d->instanceId.substr(0, prefix.size()), prefix)) continue;
    Element e;
    e.devInst = DevInstOf(id);
    set->elements.push_back(e);
  }
  SetError(plat::ERROR_SUCCESS);
  return AddHandle(std::move(set));
}

BOOL PLAT_WINAPI EnumDeviceInfo(HDEVINFO handle, DWORD index, plat::SP_DEVINFO_DATA* data) {
  SetCall call = Enter(Op::SetupDiEnumDeviceInfo, handle, data, ElementUse::None);
  if (call.error) return Fail(call.error, plat::FALSE);
  if (data == nullptr) return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  if (data->cbSize != sizeof(plat::SP_DEVINFO_DATA))
    return Fail(kErrorInvalidUserBuffer, plat::FALSE);
  DWORD seen = 0;
  for (std::size_t i = 0; i < call.set->elements.size(); ++i) {
    if (!call.set->elements[i]) continue;
    if (seen++ == index) {
      Fill(*call.set->elements[i], i, data);
      SetError(plat::ERROR_SUCCESS);
      return plat::TRUE;
    }
  }
  return Fail(plat::ERROR_NO_MORE_ITEMS, plat::FALSE);
}

BOOL PLAT_WINAPI GetDeviceRegistryProperty(HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
                                           DWORD property, DWORD* type, BYTE* buffer, DWORD size,
                                           DWORD* required) {
  SetCall call = Enter(Op::SetupDiGetDeviceRegistryProperty, handle, data);
  if (call.error) return Fail(call.error, plat::FALSE);
  DWORD code = 0;
  std::optional<sim::Device> d = DataOf(*call.element, &code);
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
      have = text(d->description);
      break;
    case plat::SPDRP_COMPATIBLEIDS:
      have = !d->compatibleIds.empty();
      value = MultiSz(d->compatibleIds);
      valueType = plat::REG_MULTI_SZ;
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
  SetCall call = Enter(Op::SetupDiSetDeviceRegistryProperty, handle, data);
  if (call.error) return Fail(call.error, plat::FALSE);
  DWORD code = 0;
  std::optional<sim::Device> d = DataOf(*call.element, &code);
  if (!d) return Fail(code, plat::FALSE);
  if (property != plat::SPDRP_HARDWAREID && property != plat::SPDRP_COMPATIBLEIDS) {
    return Fail(kErrorInvalidRegProperty, plat::FALSE);
  }
  if (buffer == nullptr && size > 0) return Fail(kErrorNoAccess, plat::FALSE);
  (property == plat::SPDRP_HARDWAREID ? d->hardwareIds : d->compatibleIds) =
      ParseMultiSz(buffer, size);
  StoreData(*call.element, *d);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI CallClassInstaller(DWORD function, HDEVINFO handle, plat::SP_DEVINFO_DATA* data) {
  const bool acts = function == plat::DIF_REGISTERDEVICE || function == plat::DIF_REMOVE ||
                    function == plat::DIF_PROPERTYCHANGE;
  SetCall call = Enter(Op::SetupDiCallClassInstaller, handle, data,
                       acts ? ElementUse::Required : ElementUse::None);
  if (call.error == 0) RefusedInWow64(&call.error);
  if (call.error) return Fail(call.error, plat::FALSE);
  if (!acts) {
    SetError(plat::ERROR_SUCCESS);
    return plat::TRUE;  // nothing to do for other installer functions
  }
  Element* e = call.element;
  DWORD code = 0;
  const sim::Profile& profile = sim::GetProfile();
  if (function == plat::DIF_REGISTERDEVICE) {
    if (e->devInst != 0) return Fail(plat::ERROR_DEVINST_ALREADY_EXISTS, plat::FALSE);
    if (IdTaken(e->pending.instanceId))
      return Fail(plat::ERROR_DEVINST_ALREADY_EXISTS, plat::FALSE);
    WriteDevice(e->pending);
    e->devInst = DevInstOf(e->pending.instanceId);
    e->needReboot = profile.deviceChangeNeedsReboot;
    Event("[device] register: " + e->pending.instanceId);
  } else if (function == plat::DIF_REMOVE) {
    std::optional<sim::Device> d = e->devInst ? DeviceByInst(e->devInst) : std::nullopt;
    if (!d) return Fail(plat::ERROR_NO_SUCH_DEVINST, plat::FALSE);
    Event("[device] remove: " + d->instanceId);
    // The device's hardware key and its driver (software) key go with it.
    DeleteDevice(d->instanceId);
    if (!d->driverKey.empty()) RegDeleteTree(plat::HKEY_LOCAL_MACHINE, kClassKey + d->driverKey);
    // Attached plug-and-play hardware is found again by the next bus scan: a
    // bare node without a driver takes the removed one's place.
    if (d->present && !EqualNoCase(d->instanceId.substr(0, 5), "ROOT\\")) {
      sim::Device found;
      found.instanceId = d->instanceId;
      found.hardwareIds = d->hardwareIds;
      found.compatibleIds = d->compatibleIds;
      WriteDevice(found);
    }
    e->needReboot = profile.deviceChangeNeedsReboot;
  } else if (!ApplyChange(*e, &code)) {
    return Fail(code, plat::FALSE);
  }
  Fill(*e, static_cast<std::size_t>(data->Reserved - 1), data);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI DestroyDeviceInfoList(HDEVINFO handle) {
  SetCall call = Enter(std::nullopt, handle, nullptr, ElementUse::None);
  if (call.error) return Fail(call.error, plat::FALSE);
  RemoveHandle(handle);
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI GetINFClass(LPCSTR infPath, GUID* classGuid, LPSTR className, DWORD classNameSize,
                             DWORD* required) {
  DWORD code = 0;
  if (Inject(Op::SetupDiGetINFClass, &code)) return Fail(code, plat::FALSE);
  if (infPath == nullptr || classGuid == nullptr)
    return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  std::optional<Inf> inf = ReadInf(infPath, &code);
  std::string name;
  GUID guid{};
  if (!inf || !InfClass(*inf, &name, &guid, &code)) return Fail(code, plat::FALSE);
  LearnClassName(guid, name);
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
  SetCall call = Enter(std::nullopt, handle, data);
  if (call.error) return Fail(call.error, plat::FALSE);
  call.set->elements[data->Reserved - 1].reset();
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI GetDeviceInstallParams(HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
                                        plat::SP_DEVINSTALL_PARAMS_A* params) {
  SetCall call = Enter(Op::SetupDiGetDeviceInstallParams, handle, data, ElementUse::Optional);
  if (call.error) return Fail(call.error, plat::FALSE);
  if (params == nullptr) return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  if (params->cbSize != sizeof(plat::SP_DEVINSTALL_PARAMS_A)) {
    return Fail(kErrorInvalidUserBuffer, plat::FALSE);
  }
  const bool reboot = call.element != nullptr && call.element->needReboot;
  std::memset(reinterpret_cast<char*>(params) + sizeof(DWORD), 0,
              sizeof(plat::SP_DEVINSTALL_PARAMS_A) - sizeof(DWORD));
  params->Flags = reboot ? plat::DI_NEEDREBOOT : 0;
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

BOOL PLAT_WINAPI SetClassInstallParams(HDEVINFO handle, plat::SP_DEVINFO_DATA* data,
                                       plat::SP_CLASSINSTALL_HEADER* params, DWORD size) {
  SetCall call = Enter(Op::SetupDiSetClassInstallParams, handle, data);
  if (call.error) return Fail(call.error, plat::FALSE);
  Element* e = call.element;
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
  SetCall call = Enter(Op::SetupDiChangeState, handle, data);
  if (call.error == 0) RefusedInWow64(&call.error);
  if (call.error) return Fail(call.error, plat::FALSE);
  DWORD code = 0;
  if (!ApplyChange(*call.element, &code)) return Fail(code, plat::FALSE);
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
  std::vector<std::string> ids = InstanceIds();
  bool used = std::any_of(ids.begin(), ids.end(), [&](const std::string& id) {
    std::optional<sim::Device> d = ReadDevice(id);
    return d && EqualNoCase(d->infName, infFileName);
  });
  if (used && !(flags & kSuoiForceDelete)) return Fail(kErrorInfInUseByDevices, plat::FALSE);
  std::string pnf = infFileName;
  if (pnf.size() >= 3) pnf.replace(pnf.size() - 3, 3, "pnf");
  (void)Files().Remove(inf.path);
  ForgetAttributes(inf.key);
  Resolved compiled = Resolve((infDir + pnf).c_str());
  if (compiled.error == 0 && compiled.exists) {
    (void)Files().Remove(compiled.path);
    ForgetAttributes(compiled.key);
  }
  SetError(plat::ERROR_SUCCESS);
  return plat::TRUE;
}

bool HasCompatibleId(const sim::Device& d, const std::string& id) {
  return std::any_of(d.compatibleIds.begin(), d.compatibleIds.end(),
                     [&](const std::string& c) { return EqualNoCase(c, id); });
}

// Creates a service that an INF's AddService names, through the service
// control manager; a service that exists already is kept as it is.
bool AddInfService(const InfService& s, DWORD* error) {
  plat::SC_HANDLE manager = plat::OpenSCManagerA(nullptr, nullptr, plat::SC_MANAGER_ALL_ACCESS);
  if (manager == nullptr) {
    *error = LastError();
    return false;
  }
  const std::string display = s.displayName.empty() ? s.name : s.displayName;
  plat::SC_HANDLE service = plat::CreateServiceA(
      manager, s.name.c_str(), display.c_str(), plat::SERVICE_ALL_ACCESS, s.type, s.start,
      s.errorControl, s.binary.c_str(), s.group.empty() ? nullptr : s.group.c_str(), nullptr,
      nullptr, nullptr, nullptr);
  const DWORD code = service != nullptr ? 0 : LastError();
  if (service != nullptr) plat::CloseServiceHandle(service);
  plat::CloseServiceHandle(manager);
  if (code != 0 && code != plat::ERROR_SERVICE_EXISTS) {
    *error = code;
    return false;
  }
  return true;
}

// The platform INF decorations are chosen for.
InfPlatform ThisPlatform() {
  const sim::Profile& profile = sim::GetProfile();
  InfPlatform platform;
  platform.amd64 = profile.amd64;
  platform.major = profile.majorVersion;
  platform.minor = profile.minorVersion;
  return platform;
}

// The lowest free driver key number under the class key ("{GUID}\\0003").
std::string NewDriverKey(const GUID& classGuid) {
  const std::string guidText = GuidText(classGuid);
  for (int n = 0; n < 10000; ++n) {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "%04d", n);
    std::string candidate = guidText + "\\" + suffix;
    if (!RegKeyPresent(plat::HKEY_LOCAL_MACHINE, kClassKey + candidate)) return candidate;
  }
  return {};
}

// Copies the files of the install section from the INF's directory.
bool CopyDriverFiles(const Inf& inf, const std::string& installSection, const std::string& infPath,
                     DWORD* error) {
  const std::string infDir = infPath.substr(0, infPath.find_last_of("\\/") + 1);
  for (const InfCopy& copy : CopyFiles(inf, installSection, WindowsDirectory(), ThisPlatform())) {
    std::string source =
        infDir + (copy.sourceDir.empty() ? "" : copy.sourceDir + "\\") + copy.source;
    Resolved from = Resolve(source.c_str());
    Resolved to = Resolve(copy.destination.c_str());
    std::string content;
    if (from.error != 0 || !from.exists || from.isDirectory ||
        !Files().ReadAll(from.path, &content)) {
      *error = plat::ERROR_FILE_NOT_FOUND;
      return false;
    }
    if (to.error != 0 || !to.parentExists || to.isDirectory ||
        !Files().WriteAll(to.path, content)) {
      *error = to.error != 0 ? to.error : plat::ERROR_PATH_NOT_FOUND;
      return false;
    }
  }
  return true;
}

BOOL PLAT_WINAPI UpdateDriver(HWND, LPCSTR hardwareId, LPCSTR infPath, DWORD flags,
                              BOOL* rebootRequired) {
  if (rebootRequired) *rebootRequired = plat::FALSE;
  DWORD code = 0;
  if (Inject(Op::UpdateDriverForPlugAndPlayDevices, &code)) return Fail(code, plat::FALSE);
  if (RefusedInWow64(&code)) return Fail(code, plat::FALSE);
  if (hardwareId == nullptr || *hardwareId == '\0' || infPath == nullptr) {
    return Fail(plat::ERROR_INVALID_PARAMETER, plat::FALSE);
  }
  if (flags & ~0x7u) return Fail(kErrorInvalidFlags, plat::FALSE);
  std::optional<Inf> inf = ReadInf(infPath, &code);
  if (!inf) return Fail(code, plat::FALSE);
  std::vector<sim::Device> targets;
  for (const std::string& id : InstanceIds()) {
    std::optional<sim::Device> d = ReadDevice(id);
    if (d && d->present && (HasId(*d, hardwareId) || HasCompatibleId(*d, hardwareId))) {
      targets.push_back(*d);
    }
  }
  if (targets.empty()) return Fail(plat::ERROR_NO_SUCH_DEVINST, plat::FALSE);
  // An INF without a model for the id has no driver to offer.
  const InfPlatform platform = ThisPlatform();
  std::optional<InfModel> model = FindModel(*inf, hardwareId, platform);
  if (!model) return Fail(plat::ERROR_NO_MORE_ITEMS, plat::FALSE);
  std::string className;
  GUID guid{};
  if (!InfClass(*inf, &className, &guid, &code)) return Fail(code, plat::FALSE);
  LearnClassName(guid, className);
  if (className.empty()) className = ClassNameOf(guid);
  if (!CopyDriverFiles(*inf, model->decorated, infPath, &code)) return Fail(code, plat::FALSE);
  std::string oemName;
  if (!CopyOemInf(infPath, 0, &oemName, &code)) return Fail(code, plat::FALSE);

  // Services through the service control manager, as the INF's AddService asks.
  std::string service;
  for (const InfService& s : InstallServices(*inf, model->decorated, WindowsDirectory())) {
    if (!AddInfService(s, &code)) return Fail(code, plat::FALSE);
    if (service.empty() || (s.flags & kSpsvcinstAssocService)) service = s.name;
  }
  const InfVersion version = ReadVersion(*inf, platform);
  for (sim::Device& d : targets) {
    // A device moving to another class gets a new driver key there.
    if (!d.driverKey.empty() && !SameGuid(d.classGuid, guid)) {
      RegDeleteTree(plat::HKEY_LOCAL_MACHINE, kClassKey + d.driverKey);
      d.driverKey.clear();
    }
    d.classGuid = guid;
    d.className = className;
    if (d.driverKey.empty()) d.driverKey = NewDriverKey(guid);
    const std::string key = kClassKey + d.driverKey;
    const auto write = [&](const char* name, const std::string& value) {
      WriteTextOrRemove(key, name, value);
    };
    write("InfPath", oemName);
    write("InfSection", model->decorated);
    write("ProviderName", version.provider);
    write("DriverDate", version.driverDate);
    write("DriverVersion", version.driverVersion);
    write("DriverDesc", model->description);
    write("MatchingDeviceId", model->matchingId);
    d.service = service;
    d.description = model->description;
    WriteDevice(d);
    Event("[device] driver: " + d.instanceId + " <- " + oemName + " (service " +
          (service.empty() ? std::string("none") : service) + ")");
    DWORD ignored = 0;
    if (d.enabled && !service.empty()) StartServiceByName(service, &ignored);
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
  theDevInsts.clear();
  theDevInstIds.clear();
  theAbsent.clear();
  if (const Json* list = Member(state, "absentDevices")) {
    const Where where("absentDevices");
    for (std::size_t i = 0; i < ExpectArray(*list, where).size(); ++i) {
      theAbsent.insert(Lower(ReadString((*list)[i], Where(where, i))));
    }
  }
}

void SaveDevices(Json& state) {
  state["absentDevices"] = theAbsent;
}

}  // namespace sim::detail

namespace sim {

bool AddDevice(const Device& device) {
  using namespace detail;
  detail::M();
  if (std::count(device.instanceId.begin(), device.instanceId.end(), '\\') != 2 ||
      IdTaken(device.instanceId)) {
    return false;
  }
  WriteDevice(device);
  return true;
}

std::vector<Device> Devices() {
  detail::M();
  std::vector<Device> list;
  for (const std::string& id : detail::InstanceIds()) {
    if (std::optional<Device> d = detail::ReadDevice(id)) list.push_back(*d);
  }
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
