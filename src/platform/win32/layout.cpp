// Compile-time checks that the platform surface matches the Windows headers:
// every structure has the size and field offsets of its Windows original and
// every constant has its Windows value.
#include <cstddef>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// The device installation headers need <windows.h> first.
#include <newdev.h>
#include <setupapi.h>
#include <shlwapi.h>

// Every constant of platform/winapi.h that Windows also defines, written once.
// Each must also be removed by winundef.h; one that is not fails to compile
// below (its name expands to the Windows value inside "plat::").
#define LAYOUT_CONSTANTS(X)           \
  X(TRUE)                             \
  X(FALSE)                            \
  X(INVALID_FILE_SIZE)                \
  X(INVALID_SET_FILE_POINTER)         \
  X(INVALID_FILE_ATTRIBUTES)          \
  X(INFINITE)                         \
  X(MAX_PATH)                         \
  X(ERROR_SUCCESS)                    \
  X(ERROR_INVALID_FUNCTION)           \
  X(ERROR_FILE_NOT_FOUND)             \
  X(ERROR_PATH_NOT_FOUND)             \
  X(ERROR_ACCESS_DENIED)              \
  X(ERROR_INVALID_HANDLE)             \
  X(ERROR_NOT_ENOUGH_MEMORY)          \
  X(ERROR_NO_MORE_FILES)              \
  X(ERROR_SHARING_VIOLATION)          \
  X(ERROR_HANDLE_EOF)                 \
  X(ERROR_NOT_SUPPORTED)              \
  X(ERROR_FILE_EXISTS)                \
  X(ERROR_INVALID_PARAMETER)          \
  X(ERROR_INSUFFICIENT_BUFFER)        \
  X(ERROR_MOD_NOT_FOUND)              \
  X(ERROR_PROC_NOT_FOUND)             \
  X(ERROR_DIR_NOT_EMPTY)              \
  X(ERROR_ALREADY_EXISTS)             \
  X(ERROR_MORE_DATA)                  \
  X(ERROR_NO_MORE_ITEMS)              \
  X(ERROR_INVALID_DATA)               \
  X(ERROR_SERVICE_REQUEST_TIMEOUT)    \
  X(ERROR_SERVICE_ALREADY_RUNNING)    \
  X(ERROR_SERVICE_DISABLED)           \
  X(ERROR_SERVICE_DOES_NOT_EXIST)     \
  X(ERROR_SERVICE_CANNOT_ACCEPT_CTRL) \
  X(ERROR_SERVICE_NOT_ACTIVE)         \
  X(ERROR_SERVICE_MARKED_FOR_DELETE)  \
  X(ERROR_SERVICE_EXISTS)             \
  X(ERROR_FILE_CORRUPT)               \
  X(ERROR_SECTION_NOT_FOUND)          \
  X(ERROR_NO_SUCH_DEVINST)            \
  X(ERROR_INVALID_CLASS)              \
  X(ERROR_DEVINST_ALREADY_EXISTS)     \
  X(ERROR_NO_DRIVER_SELECTED)         \
  X(ERROR_NO_SUCH_DEVICE_INTERFACE)   \
  X(GENERIC_READ)                     \
  X(GENERIC_WRITE)                    \
  X(FILE_SHARE_READ)                  \
  X(FILE_SHARE_WRITE)                 \
  X(FILE_SHARE_DELETE)                \
  X(CREATE_NEW)                       \
  X(CREATE_ALWAYS)                    \
  X(OPEN_EXISTING)                    \
  X(OPEN_ALWAYS)                      \
  X(TRUNCATE_EXISTING)                \
  X(FILE_ATTRIBUTE_READONLY)          \
  X(FILE_ATTRIBUTE_HIDDEN)            \
  X(FILE_ATTRIBUTE_SYSTEM)            \
  X(FILE_ATTRIBUTE_DIRECTORY)         \
  X(FILE_ATTRIBUTE_ARCHIVE)           \
  X(FILE_ATTRIBUTE_NORMAL)            \
  X(FILE_BEGIN)                       \
  X(FILE_CURRENT)                     \
  X(FILE_END)                         \
  X(PAGE_READONLY)                    \
  X(FILE_MAP_READ)                    \
  X(VER_PLATFORM_WIN32_WINDOWS)       \
  X(VER_PLATFORM_WIN32_NT)            \
  X(TOKEN_ADJUST_PRIVILEGES)          \
  X(TOKEN_QUERY)                      \
  X(SE_PRIVILEGE_ENABLED)             \
  X(EWX_REBOOT)                       \
  X(WAIT_OBJECT_0)                    \
  X(WAIT_FAILED)                      \
  X(MB_OK)                            \
  X(MB_YESNO)                         \
  X(MB_ICONSTOP)                      \
  X(MB_ICONINFORMATION)               \
  X(IDOK)                             \
  X(IDYES)                            \
  X(IDNO)                             \
  X(KEY_QUERY_VALUE)                  \
  X(KEY_SET_VALUE)                    \
  X(KEY_CREATE_SUB_KEY)               \
  X(KEY_ENUMERATE_SUB_KEYS)           \
  X(KEY_READ)                         \
  X(KEY_WRITE)                        \
  X(KEY_ALL_ACCESS)                   \
  X(WRITE_DAC)                        \
  X(REG_NONE)                         \
  X(REG_SZ)                           \
  X(REG_EXPAND_SZ)                    \
  X(REG_BINARY)                       \
  X(REG_DWORD)                        \
  X(REG_MULTI_SZ)                     \
  X(REG_OPTION_NON_VOLATILE)          \
  X(REG_CREATED_NEW_KEY)              \
  X(REG_OPENED_EXISTING_KEY)          \
  X(DACL_SECURITY_INFORMATION)        \
  X(SECURITY_DESCRIPTOR_REVISION)     \
  X(SC_MANAGER_ALL_ACCESS)            \
  X(SERVICE_ALL_ACCESS)               \
  X(SERVICE_KERNEL_DRIVER)            \
  X(SERVICE_WIN32_OWN_PROCESS)        \
  X(SERVICE_BOOT_START)               \
  X(SERVICE_SYSTEM_START)             \
  X(SERVICE_AUTO_START)               \
  X(SERVICE_DEMAND_START)             \
  X(SERVICE_DISABLED)                 \
  X(SERVICE_ERROR_NORMAL)             \
  X(SERVICE_CONTROL_STOP)             \
  X(SERVICE_STOPPED)                  \
  X(SERVICE_START_PENDING)            \
  X(SERVICE_STOP_PENDING)             \
  X(SERVICE_RUNNING)                  \
  X(DELETE)                           \
  X(DIGCF_DEFAULT)                    \
  X(DIGCF_PRESENT)                    \
  X(DIGCF_ALLCLASSES)                 \
  X(DIGCF_PROFILE)                    \
  X(DICD_GENERATE_ID)                 \
  X(SPDRP_HARDWAREID)                 \
  X(SPDRP_COMPATIBLEIDS)              \
  X(SPDRP_SERVICE)                    \
  X(SPDRP_CLASS)                      \
  X(SPDRP_DRIVER)                     \
  X(DIF_REGISTERDEVICE)               \
  X(DIF_REMOVE)                       \
  X(DIF_PROPERTYCHANGE)               \
  X(DICS_ENABLE)                      \
  X(DICS_DISABLE)                     \
  X(DICS_PROPCHANGE)                  \
  X(DICS_FLAG_GLOBAL)                 \
  X(DICS_FLAG_CONFIGSPECIFIC)         \
  X(DI_NEEDRESTART)                   \
  X(DI_NEEDREBOOT)                    \
  X(SPOST_PATH)                       \
  X(SP_COPY_NOOVERWRITE)              \
  X(INSTALLFLAG_FORCE)                \
  X(LINE_LEN)

// Compared as unsigned 32-bit values widened, so that signed and unsigned
// spellings of one value agree.
constexpr unsigned long long Widen(unsigned int value) {
  return value;
}

// The Windows values, captured before the macros are removed.
namespace win {
#define CAPTURE(name) constexpr unsigned long long name##_ = Widen(static_cast<unsigned int>(name));
LAYOUT_CONSTANTS(CAPTURE)
#undef CAPTURE
constexpr std::size_t SECURITY_DESCRIPTOR_MIN_LENGTH_ = SECURITY_DESCRIPTOR_MIN_LENGTH;
}  // namespace win

#include "platform/win32/winundef.h"
// The platform surface comes after the macros are gone.
#include "platform/winapi.h"

#define SAME_SIZE(T) static_assert(sizeof(plat::T) == sizeof(::T), #T " size")
#define SAME_FIELD(T, f) \
  static_assert(offsetof(plat::T, f) == offsetof(::T, f), #T "." #f " offset")

SAME_SIZE(SECURITY_ATTRIBUTES);
SAME_FIELD(SECURITY_ATTRIBUTES, nLength);
SAME_FIELD(SECURITY_ATTRIBUTES, lpSecurityDescriptor);
SAME_FIELD(SECURITY_ATTRIBUTES, bInheritHandle);

SAME_SIZE(FILETIME);
SAME_FIELD(FILETIME, dwLowDateTime);
SAME_FIELD(FILETIME, dwHighDateTime);

SAME_SIZE(WIN32_FIND_DATAA);
SAME_FIELD(WIN32_FIND_DATAA, dwFileAttributes);
SAME_FIELD(WIN32_FIND_DATAA, ftCreationTime);
SAME_FIELD(WIN32_FIND_DATAA, ftLastAccessTime);
SAME_FIELD(WIN32_FIND_DATAA, ftLastWriteTime);
SAME_FIELD(WIN32_FIND_DATAA, nFileSizeHigh);
SAME_FIELD(WIN32_FIND_DATAA, nFileSizeLow);
SAME_FIELD(WIN32_FIND_DATAA, dwReserved0);
SAME_FIELD(WIN32_FIND_DATAA, dwReserved1);
SAME_FIELD(WIN32_FIND_DATAA, cFileName);
SAME_FIELD(WIN32_FIND_DATAA, cAlternateFileName);

SAME_SIZE(SYSTEMTIME);
SAME_FIELD(SYSTEMTIME, wYear);
SAME_FIELD(SYSTEMTIME, wMonth);
SAME_FIELD(SYSTEMTIME, wDayOfWeek);
SAME_FIELD(SYSTEMTIME, wDay);
SAME_FIELD(SYSTEMTIME, wHour);
SAME_FIELD(SYSTEMTIME, wMinute);
SAME_FIELD(SYSTEMTIME, wSecond);
SAME_FIELD(SYSTEMTIME, wMilliseconds);

SAME_SIZE(OSVERSIONINFOA);
SAME_FIELD(OSVERSIONINFOA, dwOSVersionInfoSize);
SAME_FIELD(OSVERSIONINFOA, dwMajorVersion);
SAME_FIELD(OSVERSIONINFOA, dwMinorVersion);
SAME_FIELD(OSVERSIONINFOA, dwBuildNumber);
SAME_FIELD(OSVERSIONINFOA, dwPlatformId);
SAME_FIELD(OSVERSIONINFOA, szCSDVersion);

SAME_SIZE(STARTUPINFOA);
SAME_FIELD(STARTUPINFOA, cb);
SAME_FIELD(STARTUPINFOA, lpReserved);
SAME_FIELD(STARTUPINFOA, lpDesktop);
SAME_FIELD(STARTUPINFOA, lpTitle);
SAME_FIELD(STARTUPINFOA, dwX);
SAME_FIELD(STARTUPINFOA, dwY);
SAME_FIELD(STARTUPINFOA, dwXSize);
SAME_FIELD(STARTUPINFOA, dwYSize);
SAME_FIELD(STARTUPINFOA, dwXCountChars);
SAME_FIELD(STARTUPINFOA, dwYCountChars);
SAME_FIELD(STARTUPINFOA, dwFillAttribute);
SAME_FIELD(STARTUPINFOA, dwFlags);
SAME_FIELD(STARTUPINFOA, wShowWindow);
SAME_FIELD(STARTUPINFOA, cbReserved2);
SAME_FIELD(STARTUPINFOA, lpReserved2);
SAME_FIELD(STARTUPINFOA, hStdInput);
SAME_FIELD(STARTUPINFOA, hStdOutput);
SAME_FIELD(STARTUPINFOA, hStdError);

SAME_SIZE(PROCESS_INFORMATION);
SAME_FIELD(PROCESS_INFORMATION, hProcess);
SAME_FIELD(PROCESS_INFORMATION, hThread);
SAME_FIELD(PROCESS_INFORMATION, dwProcessId);
SAME_FIELD(PROCESS_INFORMATION, dwThreadId);

SAME_SIZE(LUID);
SAME_FIELD(LUID, LowPart);
SAME_FIELD(LUID, HighPart);

SAME_SIZE(LUID_AND_ATTRIBUTES);
SAME_FIELD(LUID_AND_ATTRIBUTES, Luid);
SAME_FIELD(LUID_AND_ATTRIBUTES, Attributes);

SAME_SIZE(TOKEN_PRIVILEGES);
SAME_FIELD(TOKEN_PRIVILEGES, PrivilegeCount);
SAME_FIELD(TOKEN_PRIVILEGES, Privileges);

SAME_SIZE(SERVICE_STATUS);
SAME_FIELD(SERVICE_STATUS, dwServiceType);
SAME_FIELD(SERVICE_STATUS, dwCurrentState);
SAME_FIELD(SERVICE_STATUS, dwControlsAccepted);
SAME_FIELD(SERVICE_STATUS, dwWin32ExitCode);
SAME_FIELD(SERVICE_STATUS, dwServiceSpecificExitCode);
SAME_FIELD(SERVICE_STATUS, dwCheckPoint);
SAME_FIELD(SERVICE_STATUS, dwWaitHint);

SAME_SIZE(GUID);
SAME_FIELD(GUID, Data1);
SAME_FIELD(GUID, Data2);
SAME_FIELD(GUID, Data3);
SAME_FIELD(GUID, Data4);

SAME_SIZE(SP_DEVINFO_DATA);
SAME_FIELD(SP_DEVINFO_DATA, cbSize);
SAME_FIELD(SP_DEVINFO_DATA, ClassGuid);
SAME_FIELD(SP_DEVINFO_DATA, DevInst);
SAME_FIELD(SP_DEVINFO_DATA, Reserved);

SAME_SIZE(SP_DEVINSTALL_PARAMS_A);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, cbSize);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, Flags);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, FlagsEx);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, hwndParent);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, InstallMsgHandler);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, InstallMsgHandlerContext);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, FileQueue);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, ClassInstallReserved);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, Reserved);
SAME_FIELD(SP_DEVINSTALL_PARAMS_A, DriverPath);

SAME_SIZE(SP_CLASSINSTALL_HEADER);
SAME_FIELD(SP_CLASSINSTALL_HEADER, cbSize);
SAME_FIELD(SP_CLASSINSTALL_HEADER, InstallFunction);

SAME_SIZE(SP_PROPCHANGE_PARAMS);
SAME_FIELD(SP_PROPCHANGE_PARAMS, ClassInstallHeader);
SAME_FIELD(SP_PROPCHANGE_PARAMS, StateChange);
SAME_FIELD(SP_PROPCHANGE_PARAMS, Scope);
SAME_FIELD(SP_PROPCHANGE_PARAMS, HwProfile);

SAME_SIZE(SP_REMOVEDEVICE_PARAMS);
SAME_FIELD(SP_REMOVEDEVICE_PARAMS, ClassInstallHeader);
SAME_FIELD(SP_REMOVEDEVICE_PARAMS, Scope);
SAME_FIELD(SP_REMOVEDEVICE_PARAMS, HwProfile);

#define SAME_VALUE(name) \
  static_assert(Widen(static_cast<unsigned int>(plat::name)) == win::name##_, #name " value");
LAYOUT_CONSTANTS(SAME_VALUE)
#undef SAME_VALUE
static_assert(plat::SECURITY_DESCRIPTOR_MIN_LENGTH >= win::SECURITY_DESCRIPTOR_MIN_LENGTH_);
