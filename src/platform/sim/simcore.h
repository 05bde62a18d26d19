// Internals shared by the parts of the simulated machine (not for core code).
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/filestore.h"
#include "platform/sim/machine.h"
#include "platform/winapi.h"

namespace sim::detail {

namespace fs = std::filesystem;
using Json = nlohmann::json;

// Error codes the sim answers that winapi.h has no name for.
constexpr plat::DWORD kErrorInvalidAddress = 487;
constexpr plat::DWORD kErrorNegativeSeek = 131;
constexpr plat::DWORD kErrorInvalidName = 123;
constexpr plat::DWORD kErrorBadNetPath = 53;
constexpr plat::DWORD kErrorFilenameTooLong = 206;
constexpr plat::DWORD kErrorDirectory = 267;
constexpr plat::DWORD kErrorFileInvalid = 1006;
constexpr plat::DWORD kErrorMappedAlignment = 1132;
constexpr plat::DWORD kErrorNoAccess = 998;
constexpr plat::DWORD kErrorInvalidUserBuffer = 1784;
constexpr plat::DWORD kErrorInvalidFlags = 1004;

// ---- Last error, events, fault injection -------------------------------------
void SetError(plat::DWORD code);
plat::DWORD LastError();
void Event(const std::string& line);
// True when the next call of `op` must fail; *code receives the error. For
// entry points that answer an error code instead of setting the last error.
bool Inject(Op op, plat::DWORD* code);
// The fault-injection prologue of an entry point that reports through the last
// error: when a failure of `op` is due, sets the last error and answers true,
// and the entry point returns its failure value.
//   if (InjectFault(Op::ReadFile)) return FALSE;
bool InjectFault(Op op);
// Sets the last error and answers `result`: an entry point's failure return.
template <class T>
T Fail(plat::DWORD code, T result) {
  SetError(code);
  return result;
}

// ---- Handle table ---------------------------------------------------------------
// Every kernel-style object (file, mapping, search, process, key, service,
// device information set...) derives from Object and lives in one table.
struct Object {
  virtual ~Object() = default;
};
// Objects that CloseHandle closes and WaitForSingleObject accepts (files,
// mappings, processes, threads, tokens); keys, services and device sets have
// their own close functions.
struct KernelObject : Object {};
plat::HANDLE AddHandle(std::unique_ptr<Object> object);
Object* FindHandle(plat::HANDLE handle);
template <class T>
T* Find(plat::HANDLE handle) {
  return dynamic_cast<T*>(FindHandle(handle));
}
// Destroys the object; false when the handle is unknown.
bool RemoveHandle(plat::HANDLE handle);
// How many objects are open (tests check that nothing is left open).
std::size_t OpenHandleCount();

// ---- Paths ------------------------------------------------------------------------
struct Resolved {
  plat::DWORD error = 0;  // non-zero: the path is unusable (3, 123, 206, ...)
  std::string path;       // path in the file store, existing components as stored
  std::string key;        // lower-case store path, identifies the file
  std::string windows;    // normalised Windows path, "C:\Dir\name"
  std::string name;       // last component ("" for a drive root)
  bool parentExists = false;
  bool exists = false;
  bool isDirectory = false;
};
// Resolves a Windows path as the machine itself sees it (the real layout, as
// a 64-bit process on 64-bit Windows). `wildcardLast` allows '*' and '?' in
// the last component.
Resolved Resolve(const char* path, bool wildcardLast = false);
// Resolves a Windows path as the library's process sees it: in a 32-bit
// process on 64-bit Windows (WOW64) through the file system redirector,
// otherwise as Resolve. The plat:: file calls of the program use this.
Resolved ResolveInProcess(const char* path, bool wildcardLast = false);
// Either of the above; `wow64` applies the redirector.
Resolved ResolveIn(const char* path, bool wildcardLast, bool wow64);
// Whether the library runs as a 32-bit process on 64-bit Windows, so that
// its file and registry calls see the 32-bit view.
bool Wow64View();
// The file system redirector on the normalised components of an absolute
// path on `drive`: <windir>\system32 and below become <windir>\SysWOW64
// except the exempt subdirectories (catroot, catroot2, drivers\etc, logfiles,
// spool, and driverstore from Windows 7 on); <windir>\Sysnative (Windows
// Vista on) names the real system directory; <windir>\lastgood\system32
// becomes lastgood\SysWOW64 and <windir>\regedit.exe SysWOW64\regedit.exe.
// The replacements are views of constants and of the profile.
void RedirectForWow64(char drive, std::vector<std::string_view>* comps);
// The error a missing target gives: 2 when its directory exists, else 3.
inline plat::DWORD MissingError(const Resolved& r) {
  return r.parentExists ? plat::ERROR_FILE_NOT_FOUND : plat::ERROR_PATH_NOT_FOUND;
}
std::string WindowsDirectory();  // parent of the profile's system directory
std::string Lower(std::string_view text);
bool EqualNoCase(std::string_view a, std::string_view b);

// ---- Machine ------------------------------------------------------------------------
struct Machine;
Machine& M();        // boots a temporary machine on first use
FileStore& Files();  // the running machine's files

// Stored attributes (read-only, hidden, system, archive) by file key.
plat::DWORD StoredAttributes(const std::string& key, bool isDirectory);
void SetStoredAttributes(const std::string& key, plat::DWORD attributes, bool isDirectory);
void ForgetAttributes(const std::string& key);  // the key and everything below it
// True when an open handle on `key` keeps it from being deleted.
bool FileInUseForDelete(const std::string& key);
bool LibraryEntryAvailable(const std::string& library, const std::string& name, plat::DWORD* error);
int ShutdownPrivilegeEnabled();

// Persistence hooks of the parts.
void LoadFiles(const Json& state);
void SaveFiles(Json& state);
void LoadRegistry(const Json& state);
void SaveRegistry(Json& state);
void LoadServices(const Json& state);
void SaveServices(Json& state);
void ApplyRestart();  // pending service deletions and automatic starts of a reboot
void LoadDevices(const Json& state);
void SaveDevices(Json& state);
void ResetProcessState();  // per-boot state of the system part

// Copies of a fresh machine's registry and service manager: a reset starts
// from them instead of building both again (one reset per fuzz input).
struct RegistryImage;
struct ServicesImage;
std::shared_ptr<const RegistryImage> CaptureRegistry();
void RestoreRegistry(const RegistryImage& image);
std::shared_ptr<const ServicesImage> CaptureServices();
void RestoreServices(const ServicesImage& image);

// Services used by the device manager.
bool EnsureService(const std::string& name, plat::DWORD type, plat::DWORD start,
                   plat::DWORD errorControl, const std::string& imagePath,
                   const std::string& group);
bool StartServiceByName(const std::string& name, plat::DWORD* error);
// Notes a service start that failed because the image is missing (per run).
void RecordMissingImage(const std::string& service, const std::string& image);

// The image files of the services a fresh machine has (Windows paths).
std::vector<std::string> BaselineImages();

// Registry helpers used by the other parts. They bypass key security and leave
// the thread's last error alone: the machine itself, not a program, is at work.
bool RegWriteString(plat::HKEY root, const std::string& path, const std::string& name,
                    const std::string& value, plat::DWORD type = plat::REG_SZ);
bool RegWriteDword(plat::HKEY root, const std::string& path, const std::string& name,
                   plat::DWORD value);
bool RegDeleteTree(plat::HKEY root, const std::string& path);
// A REG_DWORD value (4 bytes); a text value (REG_SZ or REG_EXPAND_SZ) up to its
// first NUL; the key's own spelling of its last component; its subkeys' names.
std::optional<plat::DWORD> RegReadDword(plat::HKEY root, const std::string& path,
                                        const std::string& name);
std::optional<std::string> RegReadString(plat::HKEY root, const std::string& path,
                                         const std::string& name);
std::optional<std::string> RegKeyName(plat::HKEY root, const std::string& path);
std::vector<std::string> RegSubkeyNames(plat::HKEY root, const std::string& path);
bool RegWriteValue(plat::HKEY root, const std::string& path, const std::string& name,
                   plat::DWORD type, const void* data, std::size_t size);
// Reads a value without a handle; false when the key or the value is missing.
bool RegReadValue(plat::HKEY root, const std::string& path, const std::string& name,
                  plat::DWORD* type, std::vector<plat::BYTE>* data);
bool RegRemoveValue(plat::HKEY root, const std::string& path, const std::string& name);
bool RegKeyPresent(plat::HKEY root, const std::string& path);
std::vector<std::string> RegSubkeys(plat::HKEY root, const std::string& path);
// Deletes `path` and then its parents while they hold neither values nor
// subkeys, stopping at `stop` (which stays).
void RegPruneEmpty(plat::HKEY root, std::string path, const std::string& stop);

// Per-run settings and machine facts used by the system part.
// The queued answer for a box with this caption and these buttons; answers
// naming another button are passed over (listed in *passedOver) and stay queued.
std::optional<int> TakeAnswer(const std::string& caption, const std::vector<int>& buttons,
                              std::vector<int>* passedOver);
void WriteOut(const char* text, std::size_t length);
bool FastSleep();
std::optional<plat::SYSTEMTIME> FixedTime();
plat::HMODULE ModuleHandle();
const std::string& ModulePath();
void RecordRestart();

// The simulated libraries' entry points ("setupapi.dll"/"newdev.dll", lower
// case) by name; none when the library has no such export.
plat::FARPROC DeviceEntryPoint(const std::string& library, const std::string& name);

}  // namespace sim::detail
