// The SetupApi.dll functions that the core calls directly. They are looked up
// by name in the loaded library, so that Setup.dll never imports SetupApi.dll
// and still loads on a system without it.
#include "platform/win32/wincommon.h"

namespace plat {
namespace {

// An entry point of SetupApi.dll, with a reference to the library held for the
// duration of the call when nobody had loaded it before.
template <class F>
class Entry {
 public:
  explicit Entry(const char* name) {
    ::HMODULE module = ::GetModuleHandleA("SetupApi.dll");
    if (module == nullptr) module = m_hOwned = ::LoadLibraryA("SetupApi.dll");
    if (module == nullptr) {
      ::SetLastError(ERROR_MOD_NOT_FOUND);
      return;
    }
    m_pProc = reinterpret_cast<F>(reinterpret_cast<void (*)()>(::GetProcAddress(module, name)));
    if (m_pProc == nullptr) ::SetLastError(ERROR_PROC_NOT_FOUND);
  }
  ~Entry() {
    if (m_hOwned) ::FreeLibrary(m_hOwned);
  }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;
  F Get() const { return m_pProc; }

 private:
  ::HMODULE m_hOwned = nullptr;
  F m_pProc = nullptr;
};

using SetClassInstallParamsFn = BOOL(PLAT_WINAPI*)(HDEVINFO, SP_DEVINFO_DATA*,
                                                   SP_CLASSINSTALL_HEADER*, DWORD);
using ChangeStateFn = BOOL(PLAT_WINAPI*)(HDEVINFO, SP_DEVINFO_DATA*);
using UninstallOemInfFn = BOOL(PLAT_WINAPI*)(LPCSTR, DWORD, void*);

}  // namespace

BOOL SetupDiSetClassInstallParamsA(HDEVINFO set, SP_DEVINFO_DATA* data,
                                   SP_CLASSINSTALL_HEADER* params, DWORD size) {
  Entry<SetClassInstallParamsFn> entry("SetupDiSetClassInstallParamsA");
  return entry.Get() ? entry.Get()(set, data, params, size) : FALSE;
}

BOOL SetupDiChangeState(HDEVINFO set, SP_DEVINFO_DATA* data) {
  Entry<ChangeStateFn> entry("SetupDiChangeState");
  return entry.Get() ? entry.Get()(set, data) : FALSE;
}

HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid, HWND parent) {
  Entry<PFN_SetupDiCreateDeviceInfoList> entry("SetupDiCreateDeviceInfoList");
  return entry.Get() ? entry.Get()(classGuid, parent) : INVALID_HANDLE_VALUE;
}

BOOL SetupCopyOEMInfA(LPCSTR source, LPCSTR mediaLocation, DWORD mediaType, DWORD copyStyle,
                      LPSTR destination, DWORD destinationSize, DWORD* required, LPSTR* component) {
  Entry<PFN_SetupCopyOEMInfA> entry("SetupCopyOEMInfA");
  return entry.Get() ? entry.Get()(source, mediaLocation, mediaType, copyStyle, destination,
                                   destinationSize, required, component)
                     : FALSE;
}

BOOL SetupUninstallOEMInfA(LPCSTR infFileName, DWORD flags, void* reserved) {
  Entry<UninstallOemInfFn> entry("SetupUninstallOEMInfA");
  return entry.Get() ? entry.Get()(infFileName, flags, reserved) : FALSE;
}

}  // namespace plat
