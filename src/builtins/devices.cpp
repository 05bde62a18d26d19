// Device driver built-ins: handlers and their operations.
//
// Everything goes through SetupApi.dll and newdev.dll: the entry points bound
// at start-up (theDeviceApi) and, where noted, the functions that the
// platform layer looks up by name on each call. Every device information set
// that an operation opens is destroyed before it returns, on every path.
#include "builtins/devices.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/deviceapi.h"
#include "base/global.h"
#include "base/windir.h"
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"
#include "diag/report.h"

namespace setup {

namespace {

constexpr std::int32_t kDeviceKnown = 10;
constexpr std::int32_t kDeviceUnknown = 12;
constexpr std::int32_t kOsWin95 = 0;
constexpr plat::DWORD kIdBufferSize = 8192;    // hardware-id lists
constexpr plat::DWORD kNameBufferSize = 4096;  // service and driver key names
constexpr std::size_t kMaxHardwareIdLength = 254;
constexpr plat::DWORD kCopyForceNewer = 0x2000;  // SP_COPY_FORCE_NEWER
constexpr char kClassKeyPath[] = "SYSTEM\\CurrentControlSet\\Control\\Class\\";
constexpr char kOldClassKeyPath[] = "System\\CurrentControlSet\\Services\\Class\\";

const DeviceApi& Api() {
  return theDeviceApi;
}

// Sets the restart flag when installation parameters ask for a restart.
void NoteRestart(plat::HDEVINFO set, plat::SP_DEVINFO_DATA* device) {
  if (theGlobal.m_bNeedReboot != 0) return;
  plat::SP_DEVINSTALL_PARAMS_A params{};
  params.cbSize = sizeof params;
  if (Api().SetupDiGetDeviceInstallParamsA(set, device, &params) &&
      (params.Flags & (plat::DI_NEEDREBOOT | plat::DI_NEEDRESTART)) != 0) {
    theGlobal.m_bNeedReboot = 1;
  }
}

// A device information set, destroyed when its owner goes.
class DeviceInfoSet {
 public:
  explicit DeviceInfoSet(plat::HDEVINFO handle) : m_hSet(handle) {}
  ~DeviceInfoSet() {
    if (Valid()) Api().SetupDiDestroyDeviceInfoList(m_hSet);
  }
  DeviceInfoSet(const DeviceInfoSet&) = delete;
  DeviceInfoSet& operator=(const DeviceInfoSet&) = delete;

  [[nodiscard]] bool Valid() const {
    return m_hSet != nullptr && m_hSet != plat::INVALID_HANDLE_VALUE;
  }
  [[nodiscard]] plat::HDEVINFO Get() const { return m_hSet; }

 private:
  plat::HDEVINFO m_hSet;
};

// Every device of every class, present or not.
plat::HDEVINFO OpenAllDevices() {
  return Api().SetupDiGetClassDevsA(nullptr, nullptr, nullptr, plat::DIGCF_ALLCLASSES);
}

// What a walk's visitor tells the walk.
enum class Walk { Next, Stop };

// A device property read into a buffer with room for two NULs behind the
// bytes the platform wrote, so that the texts can be read without running past
// the buffer whatever the value holds.
struct PropertyValue {
  std::vector<char> bytes;
  plat::DWORD size = 0;      // bytes written by the platform
  plat::DWORD required = 0;  // size the platform asked for when the buffer was short

  // Calls `visit` with each text of a REG_SZ or REG_MULTI_SZ value, up to
  // the written size or the first empty text.
  template <typename Visit>
  bool AnyText(Visit visit) const {
    std::size_t at = 0;
    while (at < size && bytes[at] != '\0') {
      const char* text = &bytes[at];
      if (visit(text)) return true;
      at += std::strlen(text) + 1;
    }
    return false;
  }
};

// Reads `property` of a device; false when the platform refused.
bool ReadProperty(plat::HDEVINFO set, plat::SP_DEVINFO_DATA* device, plat::DWORD property,
                  plat::DWORD bufferSize, PropertyValue* value) {
  value->bytes.assign(bufferSize + 2, '\0');
  value->size = 0;
  value->required = 0;
  plat::DWORD type = 0;
  if (!Api().SetupDiGetDeviceRegistryPropertyA(set, device, property, &type,
                                               reinterpret_cast<plat::BYTE*>(value->bytes.data()),
                                               bufferSize, &value->required)) {
    return false;
  }
  value->size = value->required <= bufferSize ? value->required : bufferSize;
  return true;
}

bool SameNoCase(const char* a, const char* b) {
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (lower(*a) != lower(*b)) return false;
  }
  return *a == *b;
}

// Calls `visit(set, device)` for every device of `set` that has `wanted` among
// the texts of `property`. A device whose property cannot be read (none, or
// longer than the buffer) is skipped.
template <typename Visit>
void ForEachMatch(const DeviceInfoSet& set, plat::DWORD property, plat::DWORD bufferSize,
                  const char* wanted, Visit visit) {
  PropertyValue value;
  for (plat::DWORD index = 0;; ++index) {
    plat::SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    if (!Api().SetupDiEnumDeviceInfo(set.Get(), index, &device)) return;
    if (!ReadProperty(set.Get(), &device, property, bufferSize, &value)) continue;
    if (!value.AnyText([&](const char* text) { return SameNoCase(text, wanted); })) continue;
    if (visit(set.Get(), &device) == Walk::Stop) return;
  }
}

// Copies `text` into a fixed field; false (field emptied) when it does not fit.
template <std::size_t N>
bool CopyField(char (&field)[N], const char* text) {
  const std::size_t length = std::strlen(text);
  if (length >= N) {
    field[0] = '\0';
    return false;
  }
  std::memcpy(field, text, length + 1);
  return true;
}

// A file name without any path component (the only kind DeleteOemInf accepts).
bool IsPlainFileName(const char* name) {
  return name[0] != '\0' && std::strpbrk(name, "\\/:") == nullptr;
}

bool KeyExists(const char* path) {
  plat::HKEY key = nullptr;
  if (plat::RegOpenKeyExA(plat::HKEY_LOCAL_MACHINE, path, 0, plat::KEY_READ, &key) != 0) {
    return false;
  }
  plat::RegCloseKey(key);
  return true;
}

}  // namespace

// ---- Procedures ------------------------------------------------------------------------

int FindDeviceByHardwareId(const char* hardwareId) {
  DeviceInfoSet set(OpenAllDevices());
  if (!set.Valid()) return 0;
  bool found = false;
  ForEachMatch(set, plat::SPDRP_HARDWAREID, kIdBufferSize, hardwareId,
               [&](plat::HDEVINFO, plat::SP_DEVINFO_DATA*) {
                 found = true;
                 return Walk::Stop;
               });
  return found ? 1 : 0;
}

int GetDeviceOemInfo(plat::HDEVINFO set, plat::SP_DEVINFO_DATA* device, DeviceOemInfo* record) {
  PropertyValue driver;
  if (!ReadProperty(set, device, plat::SPDRP_DRIVER, kNameBufferSize, &driver)) {
    TraceLine("Can not get device driver info in registery.");
    if (driver.required > kNameBufferSize) ReportError("buffer too small.");
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  std::string path = std::string(kClassKeyPath) + driver.bytes.data();
  plat::HKEY key = nullptr;
  if (plat::RegOpenKeyExA(plat::HKEY_LOCAL_MACHINE, path.c_str(), 0, plat::KEY_ALL_ACCESS, &key) !=
      0) {
    ReportError("Can not open  '%s' in registery", path.c_str());
    path = std::string(kOldClassKeyPath) + driver.bytes.data();
    if (plat::RegOpenKeyExA(plat::HKEY_LOCAL_MACHINE, path.c_str(), 0, plat::KEY_ALL_ACCESS,
                            &key) != 0) {
      ReportError("Can not open  %s in registery", path.c_str());
      theGlobal.ErrorFlag = 1;
      return 0;
    }
  }
  // A path that does not fit the record is refused rather than cut: a cut
  // path would name another key, which the removal would then delete.
  if (!CopyField(record->szClassKey, path.c_str())) {
    plat::RegCloseKey(key);
    ReportError("buffer too small.");
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  plat::DWORD size = sizeof record->szInfPath - 1;
  const plat::LONG status = plat::RegQueryValueExA(
      key, "InfPath", nullptr, nullptr, reinterpret_cast<plat::BYTE*>(record->szInfPath), &size);
  record->szInfPath[sizeof record->szInfPath - 1] = '\0';
  if (status != 0) {
    record->szInfPath[0] = '\0';
    plat::SetLastError(static_cast<plat::DWORD>(status));
    ReportError("can not get refer key value:win error code:0x%8x", static_cast<unsigned>(status));
    plat::RegCloseKey(key);
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  plat::RegCloseKey(key);
  PropertyValue service;
  if (ReadProperty(set, device, plat::SPDRP_SERVICE, kNameBufferSize, &service)) {
    CopyField(record->szService, service.bytes.data());
  }
  return 1;
}

int DeleteOemInf(const char* infName) {
  std::optional<std::string> windowsDir;
  if (!GetWinDir(windowsDir)) return 0;
  // Only a plain file name in the INF directory: a driver key that names
  // another path must not make the removal delete files elsewhere.
  if (!IsPlainFileName(infName)) return 1;
  std::string path = *windowsDir + "\\inf\\" + infName;
  plat::SetFileAttributesA(path.c_str(), plat::FILE_ATTRIBUTE_NORMAL);
  plat::DeleteFileA(path.c_str());
  if (path.size() >= 3) {
    path[path.size() - 3] = 'p';  // oem12.inf -> oem12.pnf
    plat::SetFileAttributesA(path.c_str(), plat::FILE_ATTRIBUTE_NORMAL);
    plat::DeleteFileA(path.c_str());
  }
  return 1;
}

int RemoveDeviceWithOemFiles(plat::HDEVINFO set, plat::SP_DEVINFO_DATA* device,
                             DeviceOemInfo* record, std::vector<std::string>* deletedServices) {
  *record = DeviceOemInfo{};
  const bool haveInfo = GetDeviceOemInfo(set, device, record) != 0;
  if (!haveInfo) {
    *record = DeviceOemInfo{};
    ReportError("cannot get oem information.");
  }
  const bool removed = Api().SetupDiCallClassInstaller(plat::DIF_REMOVE, set, device) != 0;
  const plat::DWORD removeError = plat::GetLastError();
  if (haveInfo) {
    // Devices of one service share it: it is deleted once per operation.
    const bool deletedBefore =
        deletedServices != nullptr &&
        std::any_of(deletedServices->begin(), deletedServices->end(), [&](const std::string& name) {
          return SameNoCase(name.c_str(), record->szService);
        });
    if (!deletedBefore && DeleteServiceAndKey(record->szService) && deletedServices != nullptr) {
      deletedServices->push_back(record->szService);
    }
    // The removal takes the driver key with it on Windows; only a key that is
    // still there is deleted (and a missing one is not reported).
    if (KeyExists(record->szClassKey)) DeleteRegTree(plat::HKEY_LOCAL_MACHINE, record->szClassKey);
  }
  if (record->szInfPath[0] != '\0') DeleteOemInf(record->szInfPath);
  NoteRestart(set, device);
  plat::SetLastError(removeError);
  return removed ? 1 : 0;
}

// ---- Operations ----------------------------------------------------------------------

std::int32_t InstallDriverByHardwareId(const char* infPath, const char* hardwareId) {
  // The hardware-id list: the id and the second NUL that ends the list.
  char ids[256] = {};
  const std::size_t idLength = std::strlen(hardwareId);
  std::memcpy(ids, hardwareId, idLength <= kMaxHardwareIdLength ? idLength : 0);

  plat::GUID classGuid{};
  char className[32] = {};
  if (!Api().SetupDiGetINFClassA(infPath, &classGuid, className, sizeof className, nullptr)) {
    ReportError("pSetupDiGetINFClass failed(%s,%s, 0x%8x)\n", infPath, className,
                plat::GetLastError());
    theGlobal.ErrorFlag = 1;
    return 0;
  }

  DeviceInfoSet set(plat::SetupDiCreateDeviceInfoList(&classGuid, nullptr));
  plat::SP_DEVINFO_DATA device{};
  device.cbSize = sizeof device;
  bool created = false;
  auto fail = [&](const char* message) {
    ReportError(message, plat::GetLastError());
    theGlobal.ErrorFlag = 1;
    if (created) Api().SetupDiDeleteDeviceInfo(set.Get(), &device);
    return 0;
  };
  if (!set.Valid()) return fail("SetupDiCreateDeviceInfoList(0x%8x) failed\n");
  if (!Api().SetupDiCreateDeviceInfoA(set.Get(), className, &classGuid, nullptr, nullptr,
                                      plat::DICD_GENERATE_ID, &device)) {
    return fail("pSetupDiCreateDeviceInfo(0x%8x) failed\n");
  }
  created = true;
  // An id longer than the list buffer allows is refused, never cut.
  if (idLength > kMaxHardwareIdLength) {
    plat::SetLastError(plat::ERROR_INVALID_PARAMETER);
    return fail("pSetupDiSetDeviceRegistryProperty(0x%8x) failed\n");
  }
  if (!Api().SetupDiSetDeviceRegistryPropertyA(set.Get(), &device, plat::SPDRP_HARDWAREID,
                                               reinterpret_cast<const plat::BYTE*>(ids),
                                               static_cast<plat::DWORD>(idLength + 2))) {
    return fail("pSetupDiSetDeviceRegistryProperty(0x%8x) failed\n");
  }
  if (!Api().SetupDiCallClassInstaller(plat::DIF_REGISTERDEVICE, set.Get(), &device)) {
    return fail("pSetupDiCallClassInstaller( 0X%8x) failed\n");
  }
  NoteRestart(set.Get(), &device);
  Api().SetupDiDeleteDeviceInfo(set.Get(), &device);
  return 1;
}

std::int32_t InstallUsbDriver(const char* infPath, const char* hardwareId) {
  const auto update = Api().UpdateDriverForPlugAndPlayDevicesA;
  if (update == nullptr) {
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  plat::BOOL reboot = plat::FALSE;
  if (!update(nullptr, hardwareId, infPath, plat::INSTALLFLAG_FORCE, &reboot)) {
    // Once the INF is in the system's store, the update finds it there.
    char copied[plat::MAX_PATH] = {};
    plat::SetupCopyOEMInfA(infPath, nullptr, plat::SPOST_PATH, 0, copied, sizeof copied, nullptr,
                           nullptr);
    reboot = plat::FALSE;
    update(nullptr, hardwareId, copied, plat::INSTALLFLAG_FORCE, &reboot);
  }
  if (theGlobal.m_bNeedReboot == 0 && reboot) theGlobal.m_bNeedReboot = 1;
  return 1;
}

std::int32_t UpdateDeviceByHardwareId(const char* infPath, const char* hardwareId) {
  if (Api().SetupCopyOEMInfA != nullptr) {
    // The media location is the INF's directory, backslash included.
    const char* lastSlash = std::strrchr(infPath, '\\');
    const std::string media =
        lastSlash != nullptr ? std::string(infPath, lastSlash + 1) : std::string();
    char copied[255] = {};
    Api().SetupCopyOEMInfA(infPath, media.empty() ? nullptr : media.c_str(), plat::SPOST_PATH,
                           kCopyForceNewer, copied, sizeof copied, nullptr, nullptr);
  }
  const auto update = Api().UpdateDriverForPlugAndPlayDevicesA;
  if (update == nullptr) {
    ReportError("goto FAILED");
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  plat::BOOL reboot = plat::FALSE;
  if (!update(nullptr, hardwareId, infPath, plat::INSTALLFLAG_FORCE, &reboot)) {
    const plat::DWORD error = plat::GetLastError();
    ReportError("update '%s' failed :win error code: 0x%8x", hardwareId, error);
    theGlobal.ErrorFlag = 1;
    return static_cast<std::int32_t>(error);
  }
  if (theGlobal.m_bNeedReboot == 0 && reboot) theGlobal.m_bNeedReboot = 1;
  return 1;
}

std::int32_t CheckDeviceStatus(const char* hardwareId) {
  return FindDeviceByHardwareId(hardwareId) ? kDeviceKnown : kDeviceUnknown;
}

namespace {

struct StateChangeResult {
  bool opened = false;   // the device set could be opened
  bool matched = false;  // some device had the hardware id
  bool ok = true;        // every change worked
};

// Applies DICS_ENABLE or DICS_DISABLE to every device with the hardware id.
StateChangeResult ChangeDeviceState(const char* hardwareId, plat::DWORD stateChange,
                                    const char* failMessage) {
  StateChangeResult result;
  DeviceInfoSet set(OpenAllDevices());
  if (!set.Valid()) return result;
  result.opened = true;
  bool& ok = result.ok;
  ForEachMatch(set, plat::SPDRP_HARDWAREID, kIdBufferSize, hardwareId,
               [&](plat::HDEVINFO handle, plat::SP_DEVINFO_DATA* device) {
                 result.matched = true;
                 plat::SP_PROPCHANGE_PARAMS params{};
                 params.ClassInstallHeader.cbSize = sizeof params.ClassInstallHeader;
                 params.ClassInstallHeader.InstallFunction = plat::DIF_PROPERTYCHANGE;
                 params.StateChange = stateChange;
                 params.Scope = plat::DICS_FLAG_GLOBAL;
                 params.HwProfile = 0;
                 if (!plat::SetupDiSetClassInstallParamsA(
                         handle, device, &params.ClassInstallHeader, sizeof params)) {
                   ReportError(failMessage, hardwareId, plat::GetLastError());
                   ok = false;
                 } else if (!plat::SetupDiChangeState(handle, device)) {
                   ReportError("reset '%s' failed : win error code: 0x%8x", hardwareId,
                               plat::GetLastError());
                   ok = false;
                 } else {
                   NoteRestart(handle, device);
                 }
                 return Walk::Next;
               });
  return result;
}

}  // namespace

std::int32_t DisableDriverByHardwareId(const char* hardwareId) {
  const StateChangeResult result = ChangeDeviceState(hardwareId, plat::DICS_DISABLE,
                                                     "disable '%s' failed : win error code: 0x%8x");
  if (!result.opened) return 0;
  if (!result.matched) {
    ReportError("devnode:'%s' not exist", hardwareId);
    return 0;
  }
  return result.ok ? 1 : 0;
}

std::int32_t EnableDriverByHardwareId(const char* hardwareId) {
  const StateChangeResult result = ChangeDeviceState(hardwareId, plat::DICS_ENABLE,
                                                     "enable '%s' failed : win error code: 0x%8x");
  return result.opened && result.ok ? 1 : 0;
}

std::int32_t DeleteDriverByHardwareId(const char* hardwareId) {
  DeviceInfoSet set(OpenAllDevices());
  if (!set.Valid()) return 0;
  bool ok = true;
  std::vector<std::string> deletedServices;
  ForEachMatch(set, plat::SPDRP_HARDWAREID, kIdBufferSize, hardwareId,
               [&](plat::HDEVINFO handle, plat::SP_DEVINFO_DATA* device) {
                 DeviceOemInfo record;
                 if (!RemoveDeviceWithOemFiles(handle, device, &record, &deletedServices)) {
                   ReportError("remove hardware:'%s' failed:win error code:0x%8x", hardwareId,
                               plat::GetLastError());
                   ok = false;
                 }
                 return Walk::Next;
               });
  return ok ? 1 : 0;
}

std::int32_t DeleteServiceDevices(const char* serviceName) {
  if (theGlobal.m_nOsVersion == kOsWin95) return 1;
  std::int32_t result = 1;
  std::vector<std::string> deletedServices;
  {
    DeviceInfoSet set(OpenAllDevices());
    if (!set.Valid()) return 0;
    PropertyValue value;
    for (plat::DWORD index = 0;; ++index) {
      plat::SP_DEVINFO_DATA device{};
      device.cbSize = sizeof device;
      if (!Api().SetupDiEnumDeviceInfo(set.Get(), index, &device)) break;
      if (!ReadProperty(set.Get(), &device, plat::SPDRP_SERVICE, kNameBufferSize, &value)) {
        if (value.required > kNameBufferSize) {
          ReportError("memory buffer overflow.");
          theGlobal.ErrorFlag = 1;
          return result;
        }
        continue;
      }
      if (!SameNoCase(value.bytes.data(), serviceName)) continue;
      DeviceOemInfo record;
      if (!RemoveDeviceWithOemFiles(set.Get(), &device, &record, &deletedServices)) result = 0;
    }
  }
  // The service itself, unless the removal of its devices deleted it already.
  if (std::none_of(deletedServices.begin(), deletedServices.end(), [&](const std::string& name) {
        return SameNoCase(name.c_str(), serviceName);
      })) {
    DeleteServiceAndKey(serviceName);
  }
  return result;
}

// ---- Handlers --------------------------------------------------------------------------

namespace {

// The INF path and hardware identifier of the install and update built-ins.
template <typename Operation>
std::int32_t WithInfAndId(Operation operation) {
  const char* infPath = ArgText(0, 2);
  const char* hardwareId = ArgText(1, 2);
  if (infPath == nullptr || hardwareId == nullptr) return MissingArgument();
  return operation(infPath, hardwareId);
}

template <typename Operation>
std::int32_t WithOneText(Operation operation) {
  const char* text = ArgText(0, 1);
  if (text == nullptr) return MissingArgument();
  return operation(text);
}

}  // namespace

std::int32_t HandleInstallDriverByHardwareId(SyntaxNode*) {
  return WithInfAndId(InstallDriverByHardwareId);
}

std::int32_t HandleInstallUsbDriver(SyntaxNode*) {
  return WithInfAndId(InstallUsbDriver);
}

std::int32_t HandleUpdateDeviceByHardwareId(SyntaxNode*) {
  return WithInfAndId(UpdateDeviceByHardwareId);
}

std::int32_t HandleDeleteService(SyntaxNode*) {
  return WithOneText(DeleteServiceDevices);
}

std::int32_t HandleDeleteDriverByHardwareId(SyntaxNode*) {
  return WithOneText(DeleteDriverByHardwareId);
}

std::int32_t HandleCheckDeviceStatus(SyntaxNode*) {
  return WithOneText(CheckDeviceStatus);
}

std::int32_t HandleDisableDriverByHardwareId(SyntaxNode*) {
  return WithOneText(DisableDriverByHardwareId);
}

std::int32_t HandleEnableDriverByHardwareId(SyntaxNode*) {
  return WithOneText(EnableDriverByHardwareId);
}

// Kept for scripts written for older systems: nothing to do.
std::int32_t HandleUpdateDeviceList(SyntaxNode*) {
  return 1;
}

}  // namespace setup
