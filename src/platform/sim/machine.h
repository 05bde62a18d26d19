// Control interface of the simulated Windows machine.
//
// The sim backend implements every plat:: function of platform/winapi.h over a
// simulated machine whose state lives in a host directory:
//
//   <state>/machine.json   profile, file attributes, registry, services,
//                          devices, counters (written by Shutdown and SaveState)
//   <state>/fs/<D>/...     the files of drive D: ("C" for C:\)
//
// Windows paths ("C:\Dir\file.txt", "/" accepted as a separator, relative paths
// against the current directory) map below <state>/fs. Every component is
// matched case-insensitively against the existing host entries; new components
// are created with the case given. ".." never climbs above a drive's root, so
// no path reaches outside the state directory.
//
// A plat:: call made before Boot boots a fresh temporary machine, so the
// backend is always usable. The machine is single-threaded.
//
// Event log: one line per event, sent to the event sink (default: stderr,
// '\n'-terminated). The lines are:
//   [msgbox] CAPTION: TEXT -> ANSWER     (line feeds in TEXT as \n, CRs as \r)
//   [process] start: CMDLINE
//   [process] not found: CMDLINE (error N)
//   [reboot] restart requested
//   [reboot] refused: shutdown privilege not held
//   [reboot] shutdown requested  /  [reboot] logoff requested
//   [sleep] N ms                          (only with fast sleep)
//   [service] start: NAME  /  [service] stop: NAME  /  [service] delete: NAME
//   [device] register: INSTANCE-ID  /  [device] remove: INSTANCE-ID
//   [device] enable: INSTANCE-ID  /  [device] disable: INSTANCE-ID
//   [device] driver: INSTANCE-ID <- INF (service SERVICE)
//   [inf] copy: SOURCE -> DESTINATION
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/winapi.h"

namespace sim {

// The machine's identity, persisted in machine.json.
struct Profile {
  plat::DWORD majorVersion = 5;
  plat::DWORD minorVersion = 1;
  plat::DWORD buildNumber = 2600;
  plat::DWORD platformId = plat::VER_PLATFORM_WIN32_NT;
  std::string servicePack = "Service Pack 3";
  plat::LCID locale = 0x0409;
  // Full path of the system directory; the Windows directory is its parent.
  std::string systemDirectory = "C:\\WINDOWS\\system32";
  // Current directory of the simulated process; empty means the system directory.
  std::string currentDirectory;
  // Driver installations (UpdateDriverForPlugAndPlayDevicesA) ask for a restart.
  bool driverUpdateNeedsReboot = false;
  // Device registrations and removals ask for a restart (DI_NEEDREBOOT).
  bool deviceChangeNeedsReboot = false;
  // 64-bit Windows (x64): INF models decorated NTamd64 apply.
  bool amd64 = false;
};

// Starts the machine on `stateDir` (created when missing; a fresh default
// machine when it holds no machine.json). An empty `stateDir` makes a fresh
// temporary machine: its state lives in memory, never in a machine.json, and
// its files in a scratch directory on the host's memory file system
// (/dev/shm, else the temporary directory) that Shutdown deletes. A running
// machine is shut down first. Answers false with a message in *error when the
// state is unusable (the file is then left as it is).
bool Boot(const std::string& stateDir, std::string* error);
// Returns the temporary machine to a fresh boot in place, reusing its scratch
// directory: files, registry, services, devices, profile, counters, handles
// and per-run settings all start over (what a fuzzer does between inputs).
// A non-empty `stateText` is machine.json text to start from instead of the
// defaults. Boots a temporary machine when none runs. Answers false with a
// message when the state is unusable (no machine runs then) or when the
// running machine is kept in a state directory (it runs on unchanged).
bool Reset(std::string_view stateText, std::string* error);
// Closes every open handle, saves the state (unless temporary) and stops.
void Shutdown();
bool IsBooted();
// Writes machine.json now (nothing for a temporary machine).
bool SaveState(std::string* error);
// The machine's state as machine.json holds it.
std::string StateText();
// The host directory that holds the state (an empty scratch directory for a
// temporary machine).
std::string StateDir();

Profile& GetProfile();

// Makes `module` the handle of the DLL: GetModuleFileNameA(module) answers
// `windowsPath`, and `bytes` are written to that path (directories created).
bool SetModule(plat::HMODULE module, const std::string& windowsPath,
               const std::vector<char>& bytes);

// The host path a Windows path maps to on a machine kept in a directory
// (existing components in their host spelling); empty when the path is
// invalid or names an unknown drive, and on a temporary machine, whose files
// live in memory.
std::string HostPath(const std::string& windowsPath);
// Creates or replaces a file (and its missing directories); reads a file.
bool PutFile(const std::string& windowsPath, std::string_view content);
std::optional<std::string> GetFile(const std::string& windowsPath);

// ---- Per-run settings (not persisted) -------------------------------------
// Answers for the next message boxes, in order; without one a box answers its
// default button (IDOK for OK boxes, IDYES for Yes/No boxes). A box takes the
// first queued answer aimed at its caption, else the first one aimed at any
// box, and passes over answers naming a button it does not have (they stay
// queued for a later box).
struct QueuedAnswer {
  int button = 0;
  std::optional<std::string> caption;  // none: any box
};
void QueueAnswer(int answer);
void QueueAnswer(const QueuedAnswer& answer);
// The answers no box has taken yet, in queue order.
std::vector<QueuedAnswer> PendingAnswers();
// The buttons of a message box of this type (MB_OK ... MB_CANCELTRYCONTINUE),
// its default button first.
std::vector<int> MessageBoxButtons(plat::UINT type);
void SetEventSink(std::function<void(const std::string& line)> sink);  // empty = stderr
void SetStdoutSink(std::function<void(const char* text, std::size_t length)> sink);
void SetFastSleep(bool fast);
// A fixed answer for GetSystemTime; none = the host clock in UTC.
void SetFixedTime(std::optional<plat::SYSTEMTIME> time);
// The library runs in a 32-bit process on 64-bit Windows (WOW64): on a
// 64-bit profile its file calls go through the file system redirector
// (system32 is SysWOW64 for it), its registry calls see the 32-bit view
// (HKLM\SOFTWARE is HKLM\SOFTWARE\WOW6432Node but for the shared keys), and
// the calls that install or change devices fail with ERROR_IN_WOW64. The
// machine itself (services, devices) and the tool functions below keep to
// the real layout.
void SetWow64Process(bool wow64);
bool Wow64Process();
// Gives a 64-bit profile what 64-bit Windows keeps for its 32-bit programs:
// <windir>\SysWOW64 with its drivers directory and the 32-bit SetupApi.dll
// and newdev.dll, and the 32-bit view's keys below
// HKLM\SOFTWARE\WOW6432Node\Microsoft (ProgramFilesDir "C:\Program Files
// (x86)", ...). Adds only what is missing; nothing on a 32-bit profile.
void AddWow64Layout();
// Windows 10 and later keep their version where programs that GetVersionEx
// no longer tells it look: CurrentMajorVersionNumber and
// CurrentMinorVersionNumber (REG_DWORD) below
// HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion, in both views on 64-bit
// Windows. Writes them for
// such a profile; nothing for older ones.
void AddVersionValues();
// Hides one entry point of a simulated library ("SetupApi.dll", "newdev.dll")
// from GetProcAddress and from the directly called functions.
void RemoveEntryPoint(const std::string& library, const std::string& name);

// ---- Fault injection ---------------------------------------------------------
// The operations that can be made to fail, written once: the enum below and
// the names OpFromName accepts are expanded from this list.
#define SIM_FAULT_OPS(X)              \
  X(CreateFile)                       \
  X(ReadFile)                         \
  X(WriteFile)                        \
  X(SetFilePointer)                   \
  X(SetEndOfFile)                     \
  X(GetFileSize)                      \
  X(CloseHandle)                      \
  X(CreateFileMapping)                \
  X(MapViewOfFile)                    \
  X(DeleteFile)                       \
  X(CopyFile)                         \
  X(CreateDirectory)                  \
  X(RemoveDirectory)                  \
  X(GetFileAttributes)                \
  X(SetFileAttributes)                \
  X(FindFirstFile)                    \
  X(FindNextFile)                     \
  X(GetModuleFileName)                \
  X(GetSystemDirectory)               \
  X(GetVersionEx)                     \
  X(LoadLibrary)                      \
  X(GetProcAddress)                   \
  X(MessageBox)                       \
  X(CreateProcess)                    \
  X(WaitForSingleObject)              \
  X(OpenProcessToken)                 \
  X(LookupPrivilegeValue)             \
  X(AdjustTokenPrivileges)            \
  X(ExitWindowsEx)                    \
  X(RegOpenKey)                       \
  X(RegCreateKey)                     \
  X(RegSetValue)                      \
  X(RegQueryValue)                    \
  X(RegEnumKey)                       \
  X(RegDeleteKey)                     \
  X(RegDeleteValue)                   \
  X(RegSetKeySecurity)                \
  X(SHDeleteKey)                      \
  X(InitializeSecurityDescriptor)     \
  X(SetSecurityDescriptorDacl)        \
  X(OpenSCManager)                    \
  X(CreateService)                    \
  X(OpenService)                      \
  X(StartService)                     \
  X(ControlService)                   \
  X(QueryServiceStatus)               \
  X(DeleteService)                    \
  X(SetupDiGetClassDevs)              \
  X(SetupDiEnumDeviceInfo)            \
  X(SetupDiGetDeviceRegistryProperty) \
  X(SetupDiSetDeviceRegistryProperty) \
  X(SetupDiCallClassInstaller)        \
  X(SetupDiCreateDeviceInfoList)      \
  X(SetupDiCreateDeviceInfo)          \
  X(SetupDiGetINFClass)               \
  X(SetupDiSetClassInstallParams)     \
  X(SetupDiChangeState)               \
  X(SetupDiGetDeviceInstallParams)    \
  X(SetupCopyOEMInf)                  \
  X(UpdateDriverForPlugAndPlayDevices)

enum class Op {
#define SIM_OP_ENUM(name) name,
  SIM_FAULT_OPS(SIM_OP_ENUM)
#undef SIM_OP_ENUM
};
// The operation's name as written above ("WriteFile"); none when unknown.
std::optional<Op> OpFromName(std::string_view name);
const char* OpName(Op op);
// The call of `op` after `skip` successful ones fails with `error`. Several
// requests for one operation are served in order.
void FailNext(Op op, plat::DWORD error, int skip = 0);
void ClearFailures();

// ---- Inspection ---------------------------------------------------------------
// The service starts of this run that failed because the image was not where
// the system looks (ERROR_FILE_NOT_FOUND), in order, with the Windows path it
// looked at. Per-run: cleared by Shutdown.
struct MissingImage {
  std::string service;
  std::string image;
};
std::vector<MissingImage> MissingServiceImages();

// How many restarts ExitWindowsEx has recorded on this machine (persisted).
int RestartRequests();

// Whether a registry key was opened to everyone (RegSetKeySecurity with a
// present, null DACL); none when the key does not exist.
std::optional<bool> KeyOpenToEveryone(plat::HKEY root, const std::string& path);

// ---- Registry contents (host tools: import, export, snapshots) -----------------
// These read and change the registry directly: no access checks, no injected
// failures, no handles. Paths are relative to a predefined root
// (HKEY_LOCAL_MACHINE, ...), components separated by '\\'; "" names the root.
struct RegistryValue {
  std::string name;  // "" for the default value
  plat::DWORD type = plat::REG_NONE;
  std::vector<plat::BYTE> data;
};
struct RegistryKey {
  std::string name;
  std::vector<RegistryValue> values;  // in creation order
  std::vector<RegistryKey> keys;      // in enumeration order
};
// The key and everything below it; none when it does not exist.
std::optional<RegistryKey> ReadRegistryKey(plat::HKEY root, const std::string& path);
// Creates the key and its missing parents. False for a bad root or path
// (empty or over-long names, nesting deeper than the registry allows).
bool CreateRegistryKey(plat::HKEY root, const std::string& path);
// Creates the key when needed and sets the value.
bool SetRegistryValue(plat::HKEY root, const std::string& path, const RegistryValue& value);
// Deletes the key with everything below it; true when it is gone (also when
// it never existed). A root cannot be deleted.
bool DeleteRegistryKey(plat::HKEY root, const std::string& path);
// Deletes a value; true when it is gone.
bool DeleteRegistryValue(plat::HKEY root, const std::string& path, const std::string& name);

// Key security, for tools: gives a key (created when missing) a security
// descriptor that grants only `rights` (0: nothing but replacing its DACL;
// KEY_READ: read only), or, with none, full access again. KeyRights answers a
// key's restriction (none: full access, or no such key).
bool SetKeyAccess(plat::HKEY root, const std::string& path, std::optional<plat::REGSAM> rights);
std::optional<plat::REGSAM> KeyRights(plat::HKEY root, const std::string& path);

// A service of the service control manager: its configuration as the registry
// holds it, with the manager's runtime state.
struct Service {
  std::string name;
  std::string displayName;
  plat::DWORD type = 0;
  plat::DWORD startType = 0;
  plat::DWORD errorControl = 0;
  std::string imagePath;
  std::string group;
  bool running = false;
  bool markedForDelete = false;  // removed once stopped and no handle is open
};
// Every service, ordered by name without regard to case.
std::vector<Service> Services();

// A device node of the device manager, as kept in the registry under
// HKLM\SYSTEM\CurrentControlSet\Enum\<instance id>.
struct Device {
  std::string instanceId;                // "ROOT\NET\0000"
  std::vector<std::string> hardwareIds;  // REG_MULTI_SZ texts
  std::vector<std::string> compatibleIds;
  std::string description;  // DeviceDesc
  std::string className;    // "Net"
  plat::GUID classGuid{};
  std::string service;    // driver service, empty when no driver is installed
  std::string driverKey;  // "{class guid}\0000" under ...\Control\Class, or empty
  std::string infName;    // INF the driver came from ("oem3.inf"), or empty
  bool enabled = true;
  bool present = true;
};
// Adds a device node (e.g. a plugged-in USB device without a driver yet).
// Answers false when the instance id is empty or already taken.
bool AddDevice(const Device& device);
std::vector<Device> Devices();

}  // namespace sim
