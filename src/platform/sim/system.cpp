// System information, libraries, processes, privileges, shutdown, message
// boxes and standard output of the simulated machine.
#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>
#include <ctime>
#include <map>
#include <thread>

#include "platform/sim/simcore.h"
#include "platform/winapi.h"

namespace sim::detail {
namespace {

using plat::DWORD;

constexpr DWORD kErrorPrivilegeNotHeld = 1314;
constexpr DWORD kErrorNoSuchPrivilege = 1313;
constexpr DWORD kErrorNotAllAssigned = 1300;
constexpr DWORD kShutdownPrivilege = 19;

struct ProcessObject : KernelObject {};
struct ThreadObject : KernelObject {};
struct TokenObject : KernelObject {};

struct LoadedLibrary {
  std::uintptr_t handle;
  int references;
};

// Per-boot state of the simulated process.
struct ProcessState {
  std::map<std::string, LoadedLibrary> libraries;  // by lower-case file name
  bool shutdownPrivilege = false;                  // enabled in the process token
  DWORD nextProcessId = 0x100;
};
ProcessState theProcess;

// The libraries the machine can load, with fixed image bases as handles.
struct KnownLibrary {
  const char* name;
  std::uintptr_t base;
};
constexpr KnownLibrary kLibraries[] = {{"setupapi.dll", 0x6F000000u}, {"newdev.dll", 0x6E000000u}};

struct Privilege {
  const char* name;
  DWORD luid;
};
constexpr Privilege kPrivileges[] = {
    {"SeSecurityPrivilege", 8},      {"SeTakeOwnershipPrivilege", 9},
    {"SeLoadDriverPrivilege", 10},   {"SeSystemtimePrivilege", 12},
    {"SeBackupPrivilege", 17},       {"SeRestorePrivilege", 18},
    {"SeShutdownPrivilege", 19},     {"SeDebugPrivilege", 20},
    {"SeChangeNotifyPrivilege", 23}, {"SeRemoteShutdownPrivilege", 24},
};

std::string LastComponent(const std::string& path) {
  std::size_t cut = path.find_last_of("\\/");
  return cut == std::string::npos ? path : path.substr(cut + 1);
}

bool IsExplicitPath(const std::string& path) {
  return path.find_first_of("\\/:") != std::string::npos;
}

std::string Escape(const char* text) {
  std::string out;
  for (const char* p = text; p && *p; ++p) {
    if (*p == '\n') {
      out += "\\n";
    } else if (*p == '\r') {
      out += "\\r";
    } else {
      out += *p;
    }
  }
  return out;
}

// The buttons of each box style (the low four bits of the type), in order.
const std::vector<int>& StyleButtons(plat::UINT type) {
  static const std::vector<int> kButtons[] = {
      {plat::IDOK},                  // MB_OK
      {plat::IDOK, 2},               // MB_OKCANCEL
      {3, 4, 5},                     // MB_ABORTRETRYIGNORE
      {plat::IDYES, plat::IDNO, 2},  // MB_YESNOCANCEL
      {plat::IDYES, plat::IDNO},     // MB_YESNO
      {4, 2},                        // MB_RETRYCANCEL
      {2, 10, 11},                   // MB_CANCELTRYCONTINUE
  };
  plat::UINT style = type & 0xF;
  return style < std::size(kButtons) ? kButtons[style] : kButtons[0];
}

// The button that Enter presses: the box's default button.
int DefaultAnswer(plat::UINT type) {
  const std::vector<int>& buttons = StyleButtons(type);
  plat::UINT index = (type >> 8) & 0xF;
  return index < buttons.size() ? buttons[index] : buttons[0];
}
}  // namespace

void ResetProcessState() {
  theProcess = ProcessState{};
}

int ShutdownPrivilegeEnabled() {
  return theProcess.shutdownPrivilege ? 1 : 0;
}

}  // namespace sim::detail

namespace sim {

std::vector<int> MessageBoxButtons(plat::UINT type) {
  return detail::StyleButtons(type);
}

}  // namespace sim

namespace plat {

using namespace sim::detail;
using sim::Op;

DWORD GetLastError() {
  return sim::detail::LastError();
}
void SetLastError(DWORD code) {
  SetError(code);
}

// ---- System information -------------------------------------------------------

UINT GetSystemDirectoryA(LPSTR buffer, UINT size) {
  if (InjectFault(Op::GetSystemDirectory)) return 0;
  const std::string& dir = sim::GetProfile().systemDirectory;
  if (buffer == nullptr || size <= dir.size()) return static_cast<UINT>(dir.size() + 1);
  std::memcpy(buffer, dir.c_str(), dir.size() + 1);
  return static_cast<UINT>(dir.size());
}

BOOL GetVersionExA(OSVERSIONINFOA* info) {
  if (InjectFault(Op::GetVersionEx)) return FALSE;
  if (info == nullptr) return Fail(kErrorNoAccess, FALSE);
  DWORD size = info->dwOSVersionInfoSize;
  if (size != sizeof(OSVERSIONINFOA) && size != sizeof(OSVERSIONINFOA) + 8) {
    return Fail(ERROR_INSUFFICIENT_BUFFER, FALSE);
  }
  const sim::Profile& p = sim::GetProfile();
  info->dwMajorVersion = p.majorVersion;
  info->dwMinorVersion = p.minorVersion;
  info->dwBuildNumber = p.buildNumber;
  info->dwPlatformId = p.platformId;
  std::memset(info->szCSDVersion, 0, sizeof(info->szCSDVersion));
  std::size_t length = std::min(p.servicePack.size(), sizeof(info->szCSDVersion) - 1);
  std::memcpy(info->szCSDVersion, p.servicePack.data(), length);
  if (size != sizeof(OSVERSIONINFOA)) {
    // OSVERSIONINFOEXA: service pack major/minor, suite mask, product type, reserved.
    WORD servicePackMajor = 0;
    for (char c : p.servicePack) {
      if (std::isdigit(static_cast<unsigned char>(c))) {
        servicePackMajor = static_cast<WORD>(servicePackMajor * 10 + (c - '0'));
      }
    }
    unsigned char extra[8] = {};
    std::memcpy(extra, &servicePackMajor, 2);
    extra[6] = 1;  // VER_NT_WORKSTATION
    std::memcpy(reinterpret_cast<unsigned char*>(info) + sizeof(OSVERSIONINFOA), extra, 8);
  }
  SetError(ERROR_SUCCESS);
  return TRUE;
}

DWORD GetVersion() {
  const sim::Profile& p = sim::GetProfile();
  DWORD version = (p.majorVersion & 0xFF) | ((p.minorVersion & 0xFF) << 8);
  if (p.platformId == VER_PLATFORM_WIN32_NT) return version | ((p.buildNumber & 0x7FFF) << 16);
  return version | 0x80000000u;
}

LCID GetSystemDefaultLCID() {
  return sim::GetProfile().locale;
}

void GetSystemTime(SYSTEMTIME* time) {
  if (time == nullptr) return;
  if (auto fixed = FixedTime()) {
    *time = *fixed;
    return;
  }
  auto now = std::chrono::system_clock::now();
  std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()) % 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  time->wYear = static_cast<WORD>(utc.tm_year + 1900);
  time->wMonth = static_cast<WORD>(utc.tm_mon + 1);
  time->wDayOfWeek = static_cast<WORD>(utc.tm_wday);
  time->wDay = static_cast<WORD>(utc.tm_mday);
  time->wHour = static_cast<WORD>(utc.tm_hour);
  time->wMinute = static_cast<WORD>(utc.tm_min);
  time->wSecond = static_cast<WORD>(utc.tm_sec);
  time->wMilliseconds = static_cast<WORD>(millis.count());
}

void Sleep(DWORD milliseconds) {
  if (FastSleep()) {
    Event("[sleep] " + std::to_string(milliseconds) + " ms");
    return;
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// ---- Libraries ------------------------------------------------------------------

HMODULE LoadLibraryA(LPCSTR name) {
  if (InjectFault(Op::LoadLibrary)) return nullptr;
  if (name == nullptr || *name == '\0') return Fail<HMODULE>(ERROR_MOD_NOT_FOUND, nullptr);
  std::string path(name);
  std::string file = LastComponent(path);
  if (!file.empty() && file.back() == '.') {
    file.pop_back();
  } else if (file.find('.') == std::string::npos) {
    file += ".dll";
    path += ".dll";
  }
  const KnownLibrary* known = nullptr;
  for (const KnownLibrary& library : kLibraries) {
    if (EqualNoCase(file, library.name)) known = &library;
  }
  if (known == nullptr) return Fail<HMODULE>(ERROR_MOD_NOT_FOUND, nullptr);
  std::string where = IsExplicitPath(path) ? path : sim::GetProfile().systemDirectory + "\\" + file;
  Resolved r = ResolveInProcess(where.c_str());
  if (r.error != 0 || !r.exists || r.isDirectory) {
    return Fail<HMODULE>(ERROR_MOD_NOT_FOUND, nullptr);
  }
  LoadedLibrary& loaded = theProcess.libraries[known->name];
  loaded.handle = known->base;
  ++loaded.references;
  SetError(ERROR_SUCCESS);
  return reinterpret_cast<HMODULE>(known->base);
}

BOOL FreeLibrary(HMODULE module) {
  for (auto it = theProcess.libraries.begin(); it != theProcess.libraries.end(); ++it) {
    if (reinterpret_cast<HMODULE>(it->second.handle) != module) continue;
    if (--it->second.references == 0) theProcess.libraries.erase(it);
    return TRUE;
  }
  return Fail(ERROR_MOD_NOT_FOUND, FALSE);
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  if (InjectFault(Op::GetProcAddress)) return nullptr;
  const std::string* library = nullptr;
  for (const auto& [file, loaded] : theProcess.libraries) {
    if (reinterpret_cast<HMODULE>(loaded.handle) == module) library = &file;
  }
  if (library == nullptr) return Fail<FARPROC>(ERROR_MOD_NOT_FOUND, nullptr);
  // Ordinals (values below 0x10000) are not exported by the simulated libraries.
  if (reinterpret_cast<std::uintptr_t>(name) < 0x10000) {
    return Fail<FARPROC>(ERROR_PROC_NOT_FOUND, nullptr);
  }
  std::string entry(name);
  std::string displayName = *library;
  DWORD code = 0;
  if (!LibraryEntryAvailable(displayName, entry, &code)) {
    return Fail<FARPROC>(ERROR_PROC_NOT_FOUND, nullptr);
  }
  FARPROC proc = DeviceEntryPoint(*library, entry);
  if (proc == nullptr) return Fail<FARPROC>(ERROR_PROC_NOT_FOUND, nullptr);
  SetError(ERROR_SUCCESS);
  return proc;
}

// ---- Processes, privileges, shutdown -------------------------------------------------

BOOL CreateProcessA(LPCSTR application, LPSTR commandLine, SECURITY_ATTRIBUTES*,
                    SECURITY_ATTRIBUTES*, BOOL, DWORD, void*, LPCSTR currentDirectory,
                    STARTUPINFOA*, PROCESS_INFORMATION* process) {
  if (InjectFault(Op::CreateProcess)) return FALSE;
  std::string line = commandLine ? commandLine : "";
  std::string shown = !line.empty() ? line : (application ? application : "");
  auto notFound = [&](DWORD error) {
    Event("[process] not found: " + shown + " (error " + std::to_string(error) + ")");
    return Fail(error, FALSE);
  };
  if (currentDirectory != nullptr) {
    Resolved dir = ResolveInProcess(currentDirectory);
    if (dir.error != 0 || !dir.isDirectory) return notFound(kErrorDirectory);
  }
  std::string program;
  bool search = false;
  if (application != nullptr) {
    program = application;
  } else {
    std::size_t start = line.find_first_not_of(" \t");
    if (start != std::string::npos) {
      if (line[start] == '"') {
        std::size_t end = line.find('"', start + 1);
        program =
            line.substr(start + 1, end == std::string::npos ? std::string::npos : end - start - 1);
      } else {
        std::size_t end = line.find_first_of(" \t", start);
        program = line.substr(start, end == std::string::npos ? std::string::npos : end - start);
      }
    }
    if (LastComponent(program).find('.') == std::string::npos && !program.empty()) {
      program += ".exe";
    }
    search = !IsExplicitPath(program);
  }
  if (program.empty()) return notFound(ERROR_FILE_NOT_FOUND);

  std::vector<std::string> candidates;
  if (search) {
    const std::string& module = ModulePath();
    std::size_t cut = module.find_last_of('\\');
    if (cut != std::string::npos) candidates.push_back(module.substr(0, cut + 1) + program);
    candidates.push_back(program);  // the current directory
    candidates.push_back(sim::GetProfile().systemDirectory + "\\" + program);
    candidates.push_back(WindowsDirectory() + "\\system\\" + program);
    candidates.push_back(WindowsDirectory() + "\\" + program);
  } else {
    candidates.push_back(program);
  }
  DWORD error = ERROR_FILE_NOT_FOUND;
  for (const std::string& candidate : candidates) {
    Resolved r = ResolveInProcess(candidate.c_str());
    if (r.error != 0 || !r.exists) {
      if (!search) error = r.error != 0 ? r.error : MissingError(r);
      continue;
    }
    if (r.isDirectory) {
      if (!search) error = ERROR_ACCESS_DENIED;
      continue;
    }
    Event("[process] start: " + shown);
    HANDLE processHandle = AddHandle(std::make_unique<ProcessObject>());
    HANDLE threadHandle = AddHandle(std::make_unique<ThreadObject>());
    if (process) {
      process->hProcess = processHandle;
      process->hThread = threadHandle;
      process->dwProcessId = theProcess.nextProcessId;
      process->dwThreadId = theProcess.nextProcessId + 4;
    } else {
      RemoveHandle(processHandle);
      RemoveHandle(threadHandle);
    }
    theProcess.nextProcessId += 8;
    SetError(ERROR_SUCCESS);
    return TRUE;
  }
  return notFound(error);
}

DWORD WaitForSingleObject(HANDLE object, DWORD) {
  if (InjectFault(Op::WaitForSingleObject)) return WAIT_FAILED;
  if (object == INVALID_HANDLE_VALUE || Find<KernelObject>(object)) return WAIT_OBJECT_0;
  return Fail(ERROR_INVALID_HANDLE, WAIT_FAILED);
}

HANDLE GetCurrentProcess() {
  return INVALID_HANDLE_VALUE;
}

BOOL OpenProcessToken(HANDLE process, DWORD, HANDLE* token) {
  if (InjectFault(Op::OpenProcessToken)) return FALSE;
  if (process != INVALID_HANDLE_VALUE && !Find<ProcessObject>(process)) {
    return Fail(ERROR_INVALID_HANDLE, FALSE);
  }
  if (token == nullptr) return Fail(kErrorNoAccess, FALSE);
  *token = AddHandle(std::make_unique<TokenObject>());
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL LookupPrivilegeValueA(LPCSTR system, LPCSTR name, LUID* luid) {
  if (InjectFault(Op::LookupPrivilegeValue)) return FALSE;
  if (system != nullptr && *system != '\0') return Fail(kErrorBadNetPath, FALSE);
  if (name == nullptr || luid == nullptr) return Fail(kErrorNoAccess, FALSE);
  for (const Privilege& privilege : kPrivileges) {
    if (EqualNoCase(name, privilege.name)) {
      luid->LowPart = privilege.luid;
      luid->HighPart = 0;
      SetError(ERROR_SUCCESS);
      return TRUE;
    }
  }
  return Fail(kErrorNoSuchPrivilege, FALSE);
}

BOOL AdjustTokenPrivileges(HANDLE token, BOOL disableAll, TOKEN_PRIVILEGES* newState, DWORD,
                           TOKEN_PRIVILEGES*, DWORD* returnLength) {
  if (InjectFault(Op::AdjustTokenPrivileges)) return FALSE;
  if (!Find<TokenObject>(token)) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (returnLength) *returnLength = 0;
  if (disableAll) {
    theProcess.shutdownPrivilege = false;
    SetError(ERROR_SUCCESS);
    return TRUE;
  }
  if (newState == nullptr) return Fail(ERROR_INVALID_PARAMETER, FALSE);
  DWORD result = ERROR_SUCCESS;
  // The array is declared with one element; read the others through memcpy.
  const auto* entries = reinterpret_cast<const unsigned char*>(newState->Privileges);
  for (DWORD i = 0; i < newState->PrivilegeCount && i < 64; ++i) {
    LUID_AND_ATTRIBUTES entry;
    std::memcpy(&entry, entries + i * sizeof(LUID_AND_ATTRIBUTES), sizeof entry);
    bool known = false;
    for (const Privilege& privilege : kPrivileges) {
      if (entry.Luid.HighPart == 0 && entry.Luid.LowPart == privilege.luid) known = true;
    }
    if (!known) {
      result = kErrorNotAllAssigned;
      continue;
    }
    if (entry.Luid.LowPart == kShutdownPrivilege) {
      theProcess.shutdownPrivilege = (entry.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    }
  }
  SetError(result);
  return TRUE;
}

BOOL ExitWindowsEx(UINT flags, DWORD) {
  if (InjectFault(Op::ExitWindowsEx)) return FALSE;
  bool logoff = (flags & 0xB) == 0;  // neither shutdown (1), reboot (2) nor power off (8)
  if (!logoff && sim::GetProfile().platformId == VER_PLATFORM_WIN32_NT &&
      !theProcess.shutdownPrivilege) {
    Event("[reboot] refused: shutdown privilege not held");
    return Fail(kErrorPrivilegeNotHeld, FALSE);
  }
  if (flags & EWX_REBOOT) {
    RecordRestart();
    Event("[reboot] restart requested");
  } else if (logoff) {
    Event("[reboot] logoff requested");
  } else {
    Event("[reboot] shutdown requested");
  }
  SetError(ERROR_SUCCESS);
  return TRUE;
}

// ---- User interface ----------------------------------------------------------------

int MessageBoxA(HWND, LPCSTR text, LPCSTR caption, UINT type) {
  if (InjectFault(Op::MessageBox)) return 0;
  const std::string title = caption ? caption : "Error";
  std::vector<int> passedOver;
  int answer = TakeAnswer(title, StyleButtons(type), &passedOver).value_or(DefaultAnswer(type));
  for (int button : passedOver) {
    Event("[msgbox] " + title + ": answer " + std::to_string(button) +
          " kept for a later box (no such button here)");
  }
  Event("[msgbox] " + title + ": " + Escape(text) + " -> " + std::to_string(answer));
  return answer;
}

void WriteStdout(const char* text, std::size_t length) {
  if (text != nullptr) WriteOut(text, length);
}

}  // namespace plat
