// Library start-up, environment and shutdown.
//
// Attach extracts the packaged script into the Windows directory and computes
// what scripts and built-ins rely on for the life of the process: the Windows
// version and language, the device-installation entry points and the seven
// WINDIR constants. Detach releases all of it and deletes the files written.
#include "entry/startup.h"

#include <cstring>

#include "base/global.h"
#include "base/windir.h"
#include "diag/report.h"
#include "package/package.h"
#include "script/front/keywords.h"
#include "script/store/symbols.h"

namespace setup {

namespace {

constexpr plat::DWORD kOsVersionInfoSize = 148;
constexpr plat::LCID kChineseSimplifiedLcid = 0x0804;

// The OS_* codes of the keyword table.
constexpr std::int32_t kOsWin95 = 0;
constexpr std::int32_t kOsWin98 = 1;
constexpr std::int32_t kOsWinMe = 2;
constexpr std::int32_t kOsWinNt = 3;
constexpr std::int32_t kOsWin2k = 4;
constexpr std::int32_t kOsWinXp = 5;
constexpr std::int32_t kOsLaterOnWinXp = 6;
constexpr std::int32_t kOsVista = 7;

// Values of the construction, restored when the library is detached.
constexpr std::int32_t kInitialOsVersion = kOsWin95;
constexpr std::int32_t kInitialLanguage = 1;

// The Windows-directory constants and the suffix each appends to WINDIR.
enum class DirKind { WinDir, Suffix, Temp, Root };
struct DirConstant {
  const char* name;
  DirKind kind;
  const char* suffix;
};
constexpr DirConstant kDirConstants[] = {
    {"WINDIR", DirKind::WinDir, ""},
    {"WINDIR_SYSTEM", DirKind::Suffix, "\\system"},
    {"WINDIR_SYSTEM32", DirKind::Suffix, "\\system32"},
    {"WINDIR_SYSTEM32_DRIVERS", DirKind::Suffix, "\\system32\\drivers"},
    {"WINDIR_INF", DirKind::Suffix, "\\inf"},
    {"WINDIR_TEMP", DirKind::Temp, "\\Temp"},
    {"WINDIR_ROOT", DirKind::Root, ""},
};

const DirConstant* FindDirConstant(const char* name) {
  if (name == nullptr) return nullptr;
  for (const DirConstant& constant : kDirConstants) {
    if (std::strcmp(constant.name, name) == 0) return &constant;
  }
  return nullptr;
}

// Computes one directory constant into `value`; 0 when it cannot be computed.
int ComputeDirConstant(const DirConstant& constant, std::optional<std::string>& value) {
  std::optional<std::string> windowsDir;
  if (!GetWinDir(windowsDir)) return 0;
  switch (constant.kind) {
    case DirKind::WinDir:
    case DirKind::Suffix:
      value = *windowsDir + constant.suffix;
      return 1;
    case DirKind::Temp: {
      std::string temp = *windowsDir + constant.suffix;
      if (!plat::PathFileExistsA(temp.c_str()) && !plat::CreateDirectoryA(temp.c_str(), nullptr)) {
        return 0;
      }
      value = std::move(temp);
      return 1;
    }
    case DirKind::Root:
      if (windowsDir->size() < 3) return 0;
      value = windowsDir->substr(0, 2);
      return 1;
  }
  return 0;
}

// The OS_* code of a version that GetVersionExA reported; `current` when no
// rule matches.
std::int32_t MapOsVersion(const plat::OSVERSIONINFOA& info, std::int32_t current) {
  const plat::DWORD major = info.dwMajorVersion;
  const plat::DWORD minor = info.dwMinorVersion;
  const bool nt = info.dwPlatformId == plat::VER_PLATFORM_WIN32_NT;
  if (major == 4) {
    // The platform is not looked at here, so NT 4.0 reads as Windows 95.
    if (minor == 0) return kOsWin95;
    if (minor == 10) return kOsWin98;
    if (minor == 90) return kOsWinMe;
    return current;
  }
  if (major == 5 && nt) {
    if (minor == 0) return kOsWin2k;
    if (minor == 1) return kOsWinXp;
    return kOsLaterOnWinXp;
  }
  if (major == 6 && nt) return kOsVista;
  return current;
}

// Determines m_nOsVersion and m_nLanguage.
void DetectVersionAndLanguage() {
  plat::OSVERSIONINFOA info{};
  info.dwOSVersionInfoSize = kOsVersionInfoSize;
  if (!plat::GetVersionExA(&info)) {
    theGlobal.m_nLanguage = 1;
    theGlobal.m_nOsVersion = plat::GetVersion() < 0x80000000u ? kOsWinNt : kOsWin95;
    return;
  }
  theGlobal.m_nLanguage = plat::GetSystemDefaultLCID() == kChineseSimplifiedLcid ? 1 : 2;
  theGlobal.m_nOsVersion = MapOsVersion(info, theGlobal.m_nOsVersion);
}

template <typename Pointer>
void Bind(plat::HMODULE library, const char* name, Pointer& pointer) {
  pointer = reinterpret_cast<Pointer>(plat::GetProcAddress(library, name));
}

void UnloadDeviceLibraries() {
  if (theGlobal.m_hSetupApi != nullptr) plat::FreeLibrary(theGlobal.m_hSetupApi);
  if (theGlobal.m_hNewDev != nullptr) plat::FreeLibrary(theGlobal.m_hNewDev);
  theGlobal.m_hSetupApi = nullptr;
  theGlobal.m_hNewDev = nullptr;
  theDeviceApi = DeviceApi{};
}

}  // namespace

// ---- Entry point -------------------------------------------------------------

plat::BOOL DllMain(plat::HMODULE module, plat::DWORD reason, void* /*reserved*/) {
  switch (reason) {
    case kDllProcessAttach: {
      const int attached = LibraryAttach(module);
      // The loader detaches a library whose attach failed before it unloads it.
      if (!attached) LibraryDetach();
      return attached ? plat::TRUE : plat::FALSE;
    }
    case kDllProcessDetach:
      LibraryDetach();
      return plat::TRUE;
    default:
      return plat::TRUE;
  }
}

// ---- Attach and detach -------------------------------------------------------

int LibraryAttach(plat::HMODULE module) {
  theGlobal.m_hModule = module;

  std::optional<std::string> scriptPath;
  const int found = GetScriptFromPackage(scriptPath);
  // The path must fit m_szFileName; a script written under a longer path is
  // removed again, since nothing would delete it later.
  const bool fits = scriptPath.has_value() && scriptPath->size() < sizeof theGlobal.m_szFileName;
  if (found && scriptPath.has_value() && !fits) plat::DeleteFileA(scriptPath->c_str());
  if (!found || !fits) {
    ShowMessageBox("Not any script section", "Prompt", plat::MB_ICONINFORMATION);
    return 0;
  }
  std::memcpy(theGlobal.m_szFileName, scriptPath->c_str(), scriptPath->size() + 1);

  if (!InitEnvironment(module)) {
    ShowMessageBox("Init dll failed", "Prompt", plat::MB_ICONSTOP);
    return 0;
  }
  return 1;
}

int LibraryDetach() {
  ReleaseEnvironment();
  if (theGlobal.m_szFileName[0] != '\0') plat::DeleteFileA(theGlobal.m_szFileName);
  if (theGlobal.m_szExpandFile.has_value()) {
    plat::DeleteFileA(theGlobal.m_szExpandFile->c_str());
    theGlobal.m_szExpandFile.reset();
  }
  // Back to the state of a freshly loaded library, so that a detach that
  // follows another one (the loader's, after a failed attach) finds nothing
  // left to delete, and a library loaded again after a failed attach starts
  // without the failure's flags.
  ResetRun();
  std::memset(theGlobal.m_szFileName, 0, sizeof theGlobal.m_szFileName);
  theGlobal.m_nOsVersion = kInitialOsVersion;
  theGlobal.m_nLanguage = kInitialLanguage;
  return 1;
}

// ---- Environment -------------------------------------------------------------

int InitEnvironment(plat::HMODULE module) {
  theGlobal.m_hModule = module;
  DetectVersionAndLanguage();
  if (!BindDeviceApi()) return 0;

  for (int i = 0; i < theGlobal.m_nKeywordCount; ++i) {
    KeywordEntry& entry = theGlobal.m_Keywords[i];
    const DirConstant* constant = FindDirConstant(entry.szName);
    if (constant == nullptr) continue;
    entry.szValue.reset();
    if (!ComputeDirConstant(*constant, entry.szValue)) return 0;
  }
  return 1;
}

int ReleaseEnvironment() {
  UnloadDeviceLibraries();
  for (int i = 0; i < theGlobal.m_nKeywordCount; ++i) {
    KeywordEntry& entry = theGlobal.m_Keywords[i];
    if (FindDirConstant(entry.szName) != nullptr) entry.szValue.reset();
  }
  return 1;
}

int BindDeviceApi() {
  DeviceApi& api = theDeviceApi;

  if (theGlobal.m_hSetupApi != nullptr) plat::FreeLibrary(theGlobal.m_hSetupApi);
  theGlobal.m_hSetupApi = plat::LoadLibraryA("SetupApi.dll");
  plat::HMODULE setupApi = theGlobal.m_hSetupApi;
  if (setupApi == nullptr) return 0;

  // Every entry is bound (a missing one left null) before the required ones are checked.
  bool missing = false;
#define SETUP_BIND_ENTRY(name, required) \
  Bind(setupApi, #name, api.name);       \
  if ((required) && api.name == nullptr) missing = true;
  PLAT_SETUPAPI_BOUND_ENTRY_POINTS(SETUP_BIND_ENTRY)
#undef SETUP_BIND_ENTRY
  if (missing) {
    PrintLine("system cannot support Setup Api.\n\n");
    return 0;
  }

  if (theGlobal.m_hNewDev != nullptr) plat::FreeLibrary(theGlobal.m_hNewDev);
  theGlobal.m_hNewDev = plat::LoadLibraryA("newdev.dll");
  api.UpdateDriverForPlugAndPlayDevicesA = nullptr;
  if (theGlobal.m_hNewDev != nullptr) {
    Bind(theGlobal.m_hNewDev, "UpdateDriverForPlugAndPlayDevicesA",
         api.UpdateDriverForPlugAndPlayDevicesA);
  } else {
    ReportWarning("cannot load 'newdev.dll'.\n\n");
  }
  return 1;
}

}  // namespace setup
