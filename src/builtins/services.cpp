// Service built-ins: handlers and their operations, and the service deletion
// shared with the device family.
#include <cstring>
#include <string>

#include "base/global.h"
#include "base/windir.h"
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"
#include "diag/report.h"

namespace setup {

namespace {

// Image paths this long or longer are replaced by the default image path.
constexpr std::size_t kImagePathLimit = 254;
const char kServicesKey[] = "System\\CurrentControlSet\\Services\\";

bool ValidName(const char* name) {
  return name != nullptr && *name != '\0';
}

plat::SC_HANDLE OpenManager() {
  return plat::OpenSCManagerA(nullptr, nullptr, plat::SC_MANAGER_ALL_ACCESS);
}

// The restart flag is only ever set during a run (the per-run reset clears
// it): a service that could not be started now is loaded by the next system
// start. A service that is already running needs nothing.
void NoteFailedStart(plat::DWORD error) {
  if (error != plat::ERROR_SERVICE_ALREADY_RUNNING) theGlobal.m_bNeedReboot = 1;
}

}  // namespace

// ---- Operations ----------------------------------------------------------------------

std::int32_t CreateDriverService(const char* name, const char* loadOrderGroup,
                                 std::int32_t startType, const char* imagePath) {
  if (!ValidName(name)) {
    ReportError("service name error");
    return 0;
  }
  std::string image = imagePath;
  if (image.size() >= kImagePathLimit) {
    std::optional<std::string> windows;
    if (!GetWinDir(windows) || !windows) {
      theGlobal.ErrorFlag = 1;
      return 0;
    }
    image = *windows + "\\system32\\drivers\\" + name + ".sys";
  }
  if (startType < 0) startType = static_cast<std::int32_t>(plat::SERVICE_AUTO_START);

  plat::SC_HANDLE manager = OpenManager();
  plat::SC_HANDLE service = plat::CreateServiceA(
      manager, name, name, plat::SERVICE_ALL_ACCESS, plat::SERVICE_KERNEL_DRIVER,
      static_cast<plat::DWORD>(startType), plat::SERVICE_ERROR_NORMAL, image.c_str(),
      loadOrderGroup, nullptr, nullptr, nullptr, nullptr);
  if (service == nullptr) {
    ReportError("cannot add new service '%s':win error code:0x%8x", name, plat::GetLastError());
    if (manager != nullptr) plat::CloseServiceHandle(manager);
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  if (!plat::StartServiceA(service, 0, nullptr)) {
    const plat::DWORD error = plat::GetLastError();
    ReportError("add new service  success, but start service failed:win error code:0x%8x.", error);
    NoteFailedStart(error);
  }
  plat::CloseServiceHandle(service);
  plat::CloseServiceHandle(manager);
  return 1;
}

std::int32_t StartServiceByName(const char* name) {
  if (!ValidName(name)) {
    ReportError("service name error");
    return 0;
  }
  plat::SC_HANDLE manager = OpenManager();
  plat::SC_HANDLE service = plat::OpenServiceA(manager, name, plat::SERVICE_ALL_ACCESS);
  if (service == nullptr) {
    ReportError("cannot start service '%s':win error code:0x%8x", name, plat::GetLastError());
    if (manager != nullptr) plat::CloseServiceHandle(manager);
    theGlobal.ErrorFlag = 1;
    return 0;
  }
  if (!plat::StartServiceA(service, 0, nullptr)) {
    const plat::DWORD error = plat::GetLastError();
    ReportError("start service '%s' failed:win error code:0x%8x.", name, error);
    NoteFailedStart(error);
  }
  plat::CloseServiceHandle(service);
  plat::CloseServiceHandle(manager);
  return 1;
}

// A stop request only: nothing waits for the service to stop.
std::int32_t StopServiceByName(const char* name) {
  if (!ValidName(name)) {
    ReportError("service name error");
    return 0;
  }
  plat::SC_HANDLE manager = OpenManager();
  if (manager == nullptr) {
    ReportError("open service manager failed: win error code: 0x%8x", plat::GetLastError());
    return 0;
  }
  if (plat::SC_HANDLE service = plat::OpenServiceA(manager, name, plat::SERVICE_ALL_ACCESS)) {
    plat::SERVICE_STATUS status{};
    if (!plat::ControlService(service, plat::SERVICE_CONTROL_STOP, &status)) {
      ReportError("stop service failed: win error code: 0x%8x", plat::GetLastError());
    }
    plat::CloseServiceHandle(service);
  }
  plat::CloseServiceHandle(manager);
  return 1;
}

namespace {

bool KeyPresent(const char* path) {
  plat::HKEY key = nullptr;
  if (plat::RegOpenKeyExA(plat::HKEY_LOCAL_MACHINE, path, 0, plat::KEY_READ, &key) != 0) {
    return false;
  }
  plat::RegCloseKey(key);
  return true;
}

}  // namespace

// The service entry goes once it is stopped and its last handle closed; a
// driver that does not stop stays loaded, marked for deletion, until the next
// system start. The registry key is deleted in any case.
std::int32_t DeleteServiceAndKey(const char* name) {
  if (!ValidName(name)) return 0;
  plat::SC_HANDLE manager = OpenManager();
  if (manager == nullptr) {
    ReportError("open service manager failed: win error code: 0x%8x", plat::GetLastError());
    return 0;
  }
  bool deleted = false;
  if (plat::SC_HANDLE service = plat::OpenServiceA(manager, name, plat::SERVICE_ALL_ACCESS)) {
    plat::SERVICE_STATUS status{};
    plat::ControlService(service, plat::SERVICE_CONTROL_STOP, &status);
    deleted = plat::DeleteService(service) != 0;
    plat::CloseServiceHandle(service);
  }
  plat::CloseServiceHandle(manager);
  // Once a stopped service is deleted and its handles closed, Windows removes
  // the key itself: a key already gone then is no failure worth a report.
  const std::string key = std::string(kServicesKey) + name;
  if (!deleted || KeyPresent(key.c_str())) DeleteRegTree(plat::HKEY_LOCAL_MACHINE, key.c_str());
  return 1;
}

// ---- Handlers --------------------------------------------------------------------------

// The service is created without a load-order group.
std::int32_t HandleCreateService(SyntaxNode*) {
  const char* name = ArgText(0, 3);
  std::int32_t startType = 0;
  const char* imagePath = ArgText(2, 3);
  if (name == nullptr || !ArgNum(1, 3, &startType) || imagePath == nullptr) {
    return MissingArgument();
  }
  return CreateDriverService(name, nullptr, startType, imagePath);
}

std::int32_t HandleStartService(SyntaxNode*) {
  const char* name = ArgText(0, 1);
  if (name == nullptr) return MissingArgument();
  return StartServiceByName(name);
}

std::int32_t HandleStopService(SyntaxNode*) {
  const char* name = ArgText(0, 1);
  if (name == nullptr) return MissingArgument();
  return StopServiceByName(name);
}

}  // namespace setup
