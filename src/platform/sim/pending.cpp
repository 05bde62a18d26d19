// Registry, services and devices of the simulated machine (first cut: every
// call fails with ERROR_CALL_NOT_IMPLEMENTED until the full versions land).
#include "platform/sim/simcore.h"
#include "platform/winapi.h"

namespace sim::detail {
constexpr plat::DWORD kNotImplemented = 120;
void LoadRegistry(const Json&) {}
void SaveRegistry(Json&) {}
void LoadServices(const Json&) {}
void SaveServices(Json&) {}
void ApplyRestart() {}
void LoadDevices(const Json&) {}
void SaveDevices(Json&) {}
plat::FARPROC DeviceEntryPoint(const std::string&, const std::string&) {
  return nullptr;
}
}  // namespace sim::detail

namespace sim {
bool AddDevice(const Device&) {
  return false;
}
std::vector<Device> Devices() {
  return {};
}
}  // namespace sim

namespace plat {
using sim::detail::kNotImplemented;
using sim::detail::SetError;
LONG RegOpenKeyA(HKEY, LPCSTR, HKEY*) {
  return kNotImplemented;
}
LONG RegOpenKeyExA(HKEY, LPCSTR, DWORD, REGSAM, HKEY*) {
  return kNotImplemented;
}
LONG RegCreateKeyExA(HKEY, LPCSTR, DWORD, LPSTR, DWORD, REGSAM, SECURITY_ATTRIBUTES*, HKEY*,
                     DWORD*) {
  return kNotImplemented;
}
LONG RegCloseKey(HKEY) {
  return kNotImplemented;
}
LONG RegSetValueExA(HKEY, LPCSTR, DWORD, DWORD, const BYTE*, DWORD) {
  return kNotImplemented;
}
LONG RegQueryValueExA(HKEY, LPCSTR, DWORD*, DWORD*, BYTE*, DWORD*) {
  return kNotImplemented;
}
LONG RegEnumKeyA(HKEY, DWORD, LPSTR, DWORD) {
  return kNotImplemented;
}
LONG RegEnumKeyExA(HKEY, DWORD, LPSTR, DWORD*, DWORD*, LPSTR, DWORD*, FILETIME*) {
  return kNotImplemented;
}
LONG RegDeleteKeyA(HKEY, LPCSTR) {
  return kNotImplemented;
}
LONG RegDeleteValueA(HKEY, LPCSTR) {
  return kNotImplemented;
}
LONG RegSetKeySecurity(HKEY, DWORD, PSECURITY_DESCRIPTOR) {
  return kNotImplemented;
}
DWORD SHDeleteKeyA(HKEY, LPCSTR) {
  return kNotImplemented;
}
BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR, DWORD) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR, BOOL, void*, BOOL) {
  SetError(kNotImplemented);
  return FALSE;
}
SC_HANDLE OpenSCManagerA(LPCSTR, LPCSTR, DWORD) {
  SetError(kNotImplemented);
  return nullptr;
}
SC_HANDLE CreateServiceA(SC_HANDLE, LPCSTR, LPCSTR, DWORD, DWORD, DWORD, DWORD, LPCSTR, LPCSTR,
                         DWORD*, LPCSTR, LPCSTR, LPCSTR) {
  SetError(kNotImplemented);
  return nullptr;
}
SC_HANDLE OpenServiceA(SC_HANDLE, LPCSTR, DWORD) {
  SetError(kNotImplemented);
  return nullptr;
}
BOOL StartServiceA(SC_HANDLE, DWORD, LPCSTR*) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL ControlService(SC_HANDLE, DWORD, SERVICE_STATUS*) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL QueryServiceStatus(SC_HANDLE, SERVICE_STATUS*) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL DeleteService(SC_HANDLE) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL CloseServiceHandle(SC_HANDLE) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL SetupDiSetClassInstallParamsA(HDEVINFO, SP_DEVINFO_DATA*, SP_CLASSINSTALL_HEADER*, DWORD) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL SetupDiChangeState(HDEVINFO, SP_DEVINFO_DATA*) {
  SetError(kNotImplemented);
  return FALSE;
}
HDEVINFO SetupDiCreateDeviceInfoList(const GUID*, HWND) {
  SetError(kNotImplemented);
  return INVALID_HANDLE_VALUE;
}
BOOL SetupCopyOEMInfA(LPCSTR, LPCSTR, DWORD, DWORD, LPSTR, DWORD, DWORD*, LPSTR*) {
  SetError(kNotImplemented);
  return FALSE;
}
BOOL SetupUninstallOEMInfA(LPCSTR, DWORD, void*) {
  SetError(kNotImplemented);
  return FALSE;
}
}  // namespace plat
