// The narrow Windows API surface that the whole system uses.
//
// Everything outside src/platform talks to the operating system only through
// the declarations below. They carry the Win32 names, types, constants and
// error codes, in namespace plat, so that the same core code runs against the
// real API (win32/, cross-built into Setup.dll) and against the simulated
// machine (sim/, for Linux hosts and tests). Structures that the real API reads
// through pointers are declared layout-compatible with their Windows originals;
// the win32 backend checks that with static assertions.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_WIN32) && !defined(_WIN64)
#define PLAT_WINAPI __stdcall
#else
#define PLAT_WINAPI
#endif

namespace plat {

// ---- Basic types ---------------------------------------------------------
using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using UINT = unsigned int;
using ULONG_PTR = std::uintptr_t;
using LCID = DWORD;
using HANDLE = void*;
using HMODULE = void*;
using HWND = void*;
using HKEY = void*;
using SC_HANDLE = void*;
using HDEVINFO = void*;
using REGSAM = DWORD;
using LPCSTR = const char*;
using LPSTR = char*;
using PSECURITY_DESCRIPTOR = void*;
using FARPROC = void (*)();

constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;
inline HANDLE const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFFu;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFFu;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFu;
constexpr DWORD INFINITE = 0xFFFFFFFFu;
constexpr DWORD MAX_PATH = 260;

// ---- Error codes (GetLastError) -----------------------------------------
constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_INVALID_FUNCTION = 1;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_NO_MORE_FILES = 18;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_HANDLE_EOF = 38;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
constexpr DWORD ERROR_INVALID_DATA = 13;
constexpr DWORD ERROR_SERVICE_REQUEST_TIMEOUT = 1053;
constexpr DWORD ERROR_SERVICE_ALREADY_RUNNING = 1056;
constexpr DWORD ERROR_SERVICE_DISABLED = 1058;
constexpr DWORD ERROR_SERVICE_DOES_NOT_EXIST = 1060;
constexpr DWORD ERROR_SERVICE_CANNOT_ACCEPT_CTRL = 1061;
constexpr DWORD ERROR_SERVICE_NOT_ACTIVE = 1062;
constexpr DWORD ERROR_SERVICE_MARKED_FOR_DELETE = 1072;
constexpr DWORD ERROR_SERVICE_EXISTS = 1073;
constexpr DWORD ERROR_FILE_CORRUPT = 1392;
// SetupAPI errors (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR | n).
constexpr DWORD ERROR_SECTION_NOT_FOUND = 0xE0000101u;
constexpr DWORD ERROR_NO_SUCH_DEVINST = 0xE000020Bu;
constexpr DWORD ERROR_INVALID_CLASS = 0xE0000206u;
constexpr DWORD ERROR_DEVINST_ALREADY_EXISTS = 0xE0000207u;
constexpr DWORD ERROR_NO_DRIVER_SELECTED = 0xE0000203u;
constexpr DWORD ERROR_NO_SUCH_DEVICE_INTERFACE = 0xE0000225u;
constexpr DWORD ERROR_NO_DEVICE_ID = 0xE0000224u;

// ---- Files ----------------------------------------------------------------
constexpr DWORD GENERIC_READ = 0x80000000u;
constexpr DWORD GENERIC_WRITE = 0x40000000u;
constexpr DWORD FILE_SHARE_READ = 0x1;
constexpr DWORD FILE_SHARE_WRITE = 0x2;
constexpr DWORD FILE_SHARE_DELETE = 0x4;
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD TRUNCATE_EXISTING = 5;
constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x4;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_CURRENT = 1;
constexpr DWORD FILE_END = 2;
constexpr DWORD PAGE_READONLY = 0x02;
constexpr DWORD FILE_MAP_READ = 0x0004;

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  void* lpSecurityDescriptor;
  BOOL bInheritHandle;
};

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

struct WIN32_FIND_DATAA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  char cFileName[MAX_PATH];
  char cAlternateFileName[14];
};

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};

DWORD GetLastError();
void SetLastError(DWORD code);

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);
HANDLE CreateFileA(LPCSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD flags, HANDLE templateFile);
BOOL ReadFile(HANDLE file, void* buffer, DWORD toRead, DWORD* read, void* overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD toWrite, DWORD* written, void* overlapped);
DWORD GetFileSize(HANDLE file, DWORD* sizeHigh);
DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method);
BOOL SetEndOfFile(HANDLE file);
BOOL CloseHandle(HANDLE object);
HANDLE CreateFileMappingA(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protect, DWORD sizeHigh,
                          DWORD sizeLow, LPCSTR name);
void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                    std::size_t bytes);
BOOL UnmapViewOfFile(const void* view);
BOOL DeleteFileA(LPCSTR path);
BOOL CopyFileA(LPCSTR source, LPCSTR destination, BOOL failIfExists);
BOOL CreateDirectoryA(LPCSTR path, SECURITY_ATTRIBUTES* security);
BOOL RemoveDirectoryA(LPCSTR path);
DWORD GetFileAttributesA(LPCSTR path);
BOOL SetFileAttributesA(LPCSTR path, DWORD attributes);
HANDLE FindFirstFileA(LPCSTR pattern, WIN32_FIND_DATAA* data);
BOOL FindNextFileA(HANDLE find, WIN32_FIND_DATAA* data);
BOOL FindClose(HANDLE find);
BOOL PathFileExistsA(LPCSTR path);

// ---- System information --------------------------------------------------
struct OSVERSIONINFOA {
  DWORD dwOSVersionInfoSize;  // 148
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  char szCSDVersion[128];
};
constexpr DWORD VER_PLATFORM_WIN32s = 0;
constexpr DWORD VER_PLATFORM_WIN32_WINDOWS = 1;
constexpr DWORD VER_PLATFORM_WIN32_NT = 2;

UINT GetSystemDirectoryA(LPSTR buffer, UINT size);
BOOL GetVersionExA(OSVERSIONINFOA* info);
DWORD GetVersion();
LCID GetSystemDefaultLCID();
void GetSystemTime(SYSTEMTIME* time);
void Sleep(DWORD milliseconds);

// ---- Libraries -------------------------------------------------------------
HMODULE LoadLibraryA(LPCSTR name);
BOOL FreeLibrary(HMODULE module);
FARPROC GetProcAddress(HMODULE module, LPCSTR name);

// ---- Processes, privileges, shutdown ---------------------------------------
struct STARTUPINFOA {
  DWORD cb;  // 68 on 32-bit Windows
  LPSTR lpReserved;
  LPSTR lpDesktop;
  LPSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  BYTE* lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};

struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
};

struct LUID {
  DWORD LowPart;
  LONG HighPart;
};

struct LUID_AND_ATTRIBUTES {
  LUID Luid;
  DWORD Attributes;
};

struct TOKEN_PRIVILEGES {
  DWORD PrivilegeCount;
  LUID_AND_ATTRIBUTES Privileges[1];
};

constexpr DWORD TOKEN_ADJUST_PRIVILEGES = 0x20;
constexpr DWORD TOKEN_QUERY = 0x8;
constexpr DWORD SE_PRIVILEGE_ENABLED = 2;
constexpr UINT EWX_REBOOT = 2;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;

BOOL CreateProcessA(LPCSTR application, LPSTR commandLine, SECURITY_ATTRIBUTES* processAttributes,
                    SECURITY_ATTRIBUTES* threadAttributes, BOOL inheritHandles, DWORD flags,
                    void* environment, LPCSTR currentDirectory, STARTUPINFOA* startup,
                    PROCESS_INFORMATION* process);
DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);
HANDLE GetCurrentProcess();
BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token);
BOOL LookupPrivilegeValueA(LPCSTR system, LPCSTR name, LUID* luid);
BOOL AdjustTokenPrivileges(HANDLE token, BOOL disableAll, TOKEN_PRIVILEGES* newState,
                           DWORD bufferLength, TOKEN_PRIVILEGES* previous, DWORD* returnLength);
BOOL ExitWindowsEx(UINT flags, DWORD reason);

// ---- User interface ----------------------------------------------------------
constexpr UINT MB_OK = 0x0;
constexpr UINT MB_YESNO = 0x4;
constexpr UINT MB_ICONSTOP = 0x10;
constexpr UINT MB_ICONINFORMATION = 0x40;
constexpr int IDOK = 1;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type);

// Writes bytes to the process's standard output (the reports of the system).
void WriteStdout(const char* text, std::size_t length);

// ---- Registry and security ---------------------------------------------------
inline HKEY const HKEY_CLASSES_ROOT =
    reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000000u));
inline HKEY const HKEY_CURRENT_USER =
    reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000001u));
inline HKEY const HKEY_LOCAL_MACHINE =
    reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000002u));
inline HKEY const HKEY_USERS = reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000003u));

constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
constexpr REGSAM KEY_SET_VALUE = 0x0002;
constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
constexpr REGSAM KEY_READ = 0x20019;
constexpr REGSAM KEY_WRITE = 0x20006;
constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
constexpr REGSAM WRITE_DAC = 0x00040000;
constexpr DWORD REG_NONE = 0;
constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;
constexpr DWORD DACL_SECURITY_INFORMATION = 0x4;
constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
constexpr std::size_t SECURITY_DESCRIPTOR_MIN_LENGTH = 40;

LONG RegOpenKeyA(HKEY key, LPCSTR subKey, HKEY* result);
LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, HKEY* result);
LONG RegCreateKeyExA(HKEY key, LPCSTR subKey, DWORD reserved, LPSTR className, DWORD options,
                     REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* result,
                     DWORD* disposition);
LONG RegCloseKey(HKEY key);
LONG RegSetValueExA(HKEY key, LPCSTR valueName, DWORD reserved, DWORD type, const BYTE* data,
                    DWORD size);
LONG RegQueryValueExA(HKEY key, LPCSTR valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size);
LONG RegEnumKeyA(HKEY key, DWORD index, LPSTR name, DWORD nameSize);
LONG RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD* reserved,
                   LPSTR className, DWORD* classSize, FILETIME* lastWrite);
LONG RegDeleteKeyA(HKEY key, LPCSTR subKey);
LONG RegDeleteValueA(HKEY key, LPCSTR valueName);
LONG RegSetKeySecurity(HKEY key, DWORD information, PSECURITY_DESCRIPTOR descriptor);
DWORD SHDeleteKeyA(HKEY key, LPCSTR subKey);
BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL daclPresent, void* dacl,
                               BOOL daclDefaulted);

// ---- Service control manager ----------------------------------------------
constexpr DWORD SC_MANAGER_ALL_ACCESS = 0xF003F;
constexpr DWORD SERVICE_ALL_ACCESS = 0xF01FF;
constexpr DWORD SERVICE_KERNEL_DRIVER = 0x1;
constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 0x10;
constexpr DWORD SERVICE_BOOT_START = 0;
constexpr DWORD SERVICE_SYSTEM_START = 1;
constexpr DWORD SERVICE_AUTO_START = 2;
constexpr DWORD SERVICE_DEMAND_START = 3;
constexpr DWORD SERVICE_DISABLED = 4;
constexpr DWORD SERVICE_ERROR_NORMAL = 1;
constexpr DWORD SERVICE_CONTROL_STOP = 1;
constexpr DWORD SERVICE_STOPPED = 1;
constexpr DWORD SERVICE_START_PENDING = 2;
constexpr DWORD SERVICE_STOP_PENDING = 3;
constexpr DWORD SERVICE_RUNNING = 4;
constexpr DWORD DELETE = 0x00010000;

struct SERVICE_STATUS {
  DWORD dwServiceType;
  DWORD dwCurrentState;
  DWORD dwControlsAccepted;
  DWORD dwWin32ExitCode;
  DWORD dwServiceSpecificExitCode;
  DWORD dwCheckPoint;
  DWORD dwWaitHint;
};

SC_HANDLE OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD access);
SC_HANDLE CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD access,
                         DWORD serviceType, DWORD startType, DWORD errorControl, LPCSTR binaryPath,
                         LPCSTR loadOrderGroup, DWORD* tagId, LPCSTR dependencies,
                         LPCSTR serviceStartName, LPCSTR password);
SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD access);
BOOL StartServiceA(SC_HANDLE service, DWORD argc, LPCSTR* argv);
BOOL ControlService(SC_HANDLE service, DWORD control, SERVICE_STATUS* status);
BOOL QueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status);
BOOL DeleteService(SC_HANDLE service);
BOOL CloseServiceHandle(SC_HANDLE handle);

// ---- Device installation (SetupAPI and newdev) --------------------------------
// The structures follow the SetupAPI headers' packing: 1 on 32-bit, 8 on 64-bit.
#if defined(_WIN64) || !defined(_WIN32)
#pragma pack(push, 8)
#else
#pragma pack(push, 1)
#endif

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};

struct SP_DEVINFO_DATA {
  DWORD cbSize;
  GUID ClassGuid;
  DWORD DevInst;
  ULONG_PTR Reserved;
};

struct SP_DEVINSTALL_PARAMS_A {
  DWORD cbSize;
  DWORD Flags;
  DWORD FlagsEx;
  HWND hwndParent;
  void* InstallMsgHandler;
  void* InstallMsgHandlerContext;
  void* FileQueue;
  ULONG_PTR ClassInstallReserved;
  DWORD Reserved;
  char DriverPath[MAX_PATH];
};

struct SP_CLASSINSTALL_HEADER {
  DWORD cbSize;
  DWORD InstallFunction;
};

struct SP_PROPCHANGE_PARAMS {
  SP_CLASSINSTALL_HEADER ClassInstallHeader;
  DWORD StateChange;
  DWORD Scope;
  DWORD HwProfile;
};

struct SP_REMOVEDEVICE_PARAMS {
  SP_CLASSINSTALL_HEADER ClassInstallHeader;
  DWORD Scope;
  DWORD HwProfile;
};

#pragma pack(pop)

constexpr DWORD DIGCF_DEFAULT = 0x1;
constexpr DWORD DIGCF_PRESENT = 0x2;
constexpr DWORD DIGCF_ALLCLASSES = 0x4;
constexpr DWORD DIGCF_PROFILE = 0x8;
constexpr DWORD DICD_GENERATE_ID = 0x1;
constexpr DWORD SPDRP_HARDWAREID = 0x1;
constexpr DWORD SPDRP_COMPATIBLEIDS = 0x2;
constexpr DWORD SPDRP_SERVICE = 0x4;
constexpr DWORD SPDRP_CLASS = 0x7;
constexpr DWORD SPDRP_DRIVER = 0x9;
constexpr DWORD DIF_REGISTERDEVICE = 0x19;
constexpr DWORD DIF_REMOVE = 0x5;
constexpr DWORD DIF_PROPERTYCHANGE = 0x12;
constexpr DWORD DICS_ENABLE = 1;
constexpr DWORD DICS_DISABLE = 2;
constexpr DWORD DICS_PROPCHANGE = 3;
constexpr DWORD DICS_FLAG_GLOBAL = 1;
constexpr DWORD DICS_FLAG_CONFIGSPECIFIC = 2;
constexpr DWORD DI_NEEDRESTART = 0x80;
constexpr DWORD DI_NEEDREBOOT = 0x100;
constexpr DWORD SPOST_PATH = 1;
constexpr DWORD SP_COPY_NOOVERWRITE = 0x8;
constexpr DWORD INSTALLFLAG_FORCE = 0x1;
constexpr int LINE_LEN = 256;

// Entry points of SetupApi.dll and newdev.dll, bound at run time by name.
using PFN_SetupDiGetClassDevsA = HDEVINFO(PLAT_WINAPI*)(const GUID* classGuid, LPCSTR enumerator,
                                                        HWND parent, DWORD flags);
using PFN_SetupDiEnumDeviceInfo = BOOL(PLAT_WINAPI*)(HDEVINFO set, DWORD index,
                                                     SP_DEVINFO_DATA* data);
using PFN_SetupDiGetDeviceRegistryPropertyA = BOOL(PLAT_WINAPI*)(HDEVINFO set,
                                                                 SP_DEVINFO_DATA* data,
                                                                 DWORD property, DWORD* type,
                                                                 BYTE* buffer, DWORD size,
                                                                 DWORD* required);
using PFN_SetupDiCallClassInstaller = BOOL(PLAT_WINAPI*)(DWORD function, HDEVINFO set,
                                                         SP_DEVINFO_DATA* data);
using PFN_SetupDiDestroyDeviceInfoList = BOOL(PLAT_WINAPI*)(HDEVINFO set);
using PFN_SetupDiGetINFClassA = BOOL(PLAT_WINAPI*)(LPCSTR infPath, GUID* classGuid, LPSTR className,
                                                   DWORD classNameSize, DWORD* required);
using PFN_SetupDiCreateDeviceInfoList = HDEVINFO(PLAT_WINAPI*)(const GUID* classGuid, HWND parent);
using PFN_SetupDiCreateDeviceInfoA = BOOL(PLAT_WINAPI*)(HDEVINFO set, LPCSTR name,
                                                        const GUID* classGuid, LPCSTR description,
                                                        HWND parent, DWORD flags,
                                                        SP_DEVINFO_DATA* data);
using PFN_SetupDiSetDeviceRegistryPropertyA = BOOL(PLAT_WINAPI*)(HDEVINFO set,
                                                                 SP_DEVINFO_DATA* data,
                                                                 DWORD property, const BYTE* buffer,
                                                                 DWORD size);
using PFN_SetupDiDeleteDeviceInfo = BOOL(PLAT_WINAPI*)(HDEVINFO set, SP_DEVINFO_DATA* data);
using PFN_SetupDiGetDeviceInstallParamsA = BOOL(PLAT_WINAPI*)(HDEVINFO set, SP_DEVINFO_DATA* data,
                                                              SP_DEVINSTALL_PARAMS_A* params);
using PFN_SetupCopyOEMInfA = BOOL(PLAT_WINAPI*)(LPCSTR source, LPCSTR mediaLocation,
                                                DWORD mediaType, DWORD copyStyle, LPSTR destination,
                                                DWORD destinationSize, DWORD* required,
                                                LPSTR* component);
using PFN_UpdateDriverForPlugAndPlayDevicesA = BOOL(PLAT_WINAPI*)(HWND parent, LPCSTR hardwareId,
                                                                  LPCSTR infPath, DWORD flags,
                                                                  BOOL* rebootRequired);

// The SetupApi.dll entry points bound by name at start-up, written once:
// X(name, required). Each has a PFN_<name> type above; start-up fails when a
// required one is missing.
#define PLAT_SETUPAPI_BOUND_ENTRY_POINTS(X)  \
  X(SetupDiGetClassDevsA, true)              \
  X(SetupDiEnumDeviceInfo, true)             \
  X(SetupDiGetDeviceRegistryPropertyA, true) \
  X(SetupDiCallClassInstaller, true)         \
  X(SetupDiDestroyDeviceInfoList, true)      \
  X(SetupDiGetINFClassA, true)               \
  X(SetupDiCreateDeviceInfoList, true)       \
  X(SetupDiCreateDeviceInfoA, true)          \
  X(SetupDiSetDeviceRegistryPropertyA, true) \
  X(SetupDiDeleteDeviceInfo, true)           \
  X(SetupDiGetDeviceInstallParamsA, true)    \
  X(SetupCopyOEMInfA, false)

// Called directly (not bound by name); on systems without SetupApi.dll they fail
// with ERROR_MOD_NOT_FOUND.
BOOL SetupDiSetClassInstallParamsA(HDEVINFO set, SP_DEVINFO_DATA* data,
                                   SP_CLASSINSTALL_HEADER* params, DWORD size);
BOOL SetupDiChangeState(HDEVINFO set, SP_DEVINFO_DATA* data);
HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid, HWND parent);
BOOL SetupCopyOEMInfA(LPCSTR source, LPCSTR mediaLocation, DWORD mediaType, DWORD copyStyle,
                      LPSTR destination, DWORD destinationSize, DWORD* required, LPSTR* component);
BOOL SetupUninstallOEMInfA(LPCSTR infFileName, DWORD flags, void* reserved);

}  // namespace plat
