// Registry, security descriptor and service control functions of the real
// Windows API.
#include "platform/win32/wincommon.h"

namespace plat {

using win32::Dw;
using win32::Key;

namespace {
::PHKEY Real(HKEY* result) {
  return reinterpret_cast<::PHKEY>(result);
}
}  // namespace

// ---- Registry ----------------------------------------------------------------------

LONG RegOpenKeyA(HKEY key, LPCSTR subKey, HKEY* result) {
  return ::RegOpenKeyA(Key(key), subKey, Real(result));
}

LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result) {
  return ::RegOpenKeyExA(Key(key), subKey, options, access, Real(result));
}

LONG RegCreateKeyExA(HKEY key, LPCSTR subKey, DWORD reserved, LPSTR className, DWORD options,
                     REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* result,
                     DWORD* disposition) {
  return ::RegCreateKeyExA(Key(key), subKey, reserved, className, options, access,
                           reinterpret_cast<::LPSECURITY_ATTRIBUTES>(security), Real(result),
                           Dw(disposition));
}

LONG RegCloseKey(HKEY key) {
  return ::RegCloseKey(Key(key));
}

LONG RegSetValueExA(HKEY key, LPCSTR valueName, DWORD reserved, DWORD type, const BYTE* data,
                    DWORD size) {
  return ::RegSetValueExA(Key(key), valueName, reserved, type, data, size);
}

LONG RegQueryValueExA(HKEY key, LPCSTR valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) {
  return ::RegQueryValueExA(Key(key), valueName, Dw(reserved), Dw(type), data, Dw(size));
}

LONG RegEnumKeyA(HKEY key, DWORD index, LPSTR name, DWORD nameSize) {
  return ::RegEnumKeyA(Key(key), index, name, nameSize);
}

LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD* reserved,
                   LPSTR className, DWORD* classSize, FILETIME* lastWrite) {
  return ::RegEnumKeyExA(Key(key), index, name, Dw(nameSize), Dw(reserved), className,
                         Dw(classSize), reinterpret_cast<::PFILETIME>(lastWrite));
}

LONG RegDeleteKeyA(HKEY key, LPCSTR subKey) {
  return ::RegDeleteKeyA(Key(key), subKey);
}

LONG RegDeleteValueA(HKEY key, LPCSTR valueName) {
  return ::RegDeleteValueA(Key(key), valueName);
}

LONG RegSetKeySecurity(HKEY key, DWORD information, PSECURITY_DESCRIPTOR descriptor) {
  return ::RegSetKeySecurity(Key(key), information, descriptor);
}

DWORD SHDeleteKeyA(HKEY key, LPCSTR subKey) {
  return static_cast<DWORD>(::SHDeleteKeyA(Key(key), subKey));
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision) {
  return ::InitializeSecurityDescriptor(descriptor, revision);
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL daclPresent, void* dacl,
                               BOOL daclDefaulted) {
  return ::SetSecurityDescriptorDacl(descriptor, daclPresent, static_cast<::PACL>(dacl),
                                     daclDefaulted);
}

// ---- Service control manager -------------------------------------------------------

namespace {
::SC_HANDLE Sc(SC_HANDLE handle) {
  return static_cast<::SC_HANDLE>(handle);
}
}  // namespace

SC_HANDLE OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD access) {
  return ::OpenSCManagerA(machine, database, access);
}

SC_HANDLE CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD access,
                         DWORD serviceType, DWORD startType, DWORD errorControl, LPCSTR binaryPath,
                         LPCSTR loadOrderGroup, DWORD* tagId, LPCSTR dependencies,
                         LPCSTR serviceStartName, LPCSTR password) {
  return ::CreateServiceA(Sc(manager), name, displayName, access, serviceType, startType,
                          errorControl, binaryPath, loadOrderGroup, Dw(tagId), dependencies,
                          serviceStartName, password);
}

SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD access) {
  return ::OpenServiceA(Sc(manager), name, access);
}

BOOL StartServiceA(SC_HANDLE service, DWORD argc, LPCSTR* argv) {
  return ::StartServiceA(Sc(service), argc, argv);
}

BOOL ControlService(SC_HANDLE service, DWORD control, SERVICE_STATUS* status) {
  return ::ControlService(Sc(service), control, reinterpret_cast<::LPSERVICE_STATUS>(status));
}

BOOL QueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status) {
  return ::QueryServiceStatus(Sc(service), reinterpret_cast<::LPSERVICE_STATUS>(status));
}

BOOL DeleteService(SC_HANDLE service) {
  return ::DeleteService(Sc(service));
}
BOOL CloseServiceHandle(SC_HANDLE handle) {
  return ::CloseServiceHandle(Sc(handle));
}

}  // namespace plat
