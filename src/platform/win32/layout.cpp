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

// The Windows values, captured before the macros are removed.
namespace win {
constexpr unsigned long long TRUE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(TRUE));
constexpr unsigned long long FALSE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FALSE));
constexpr unsigned long long INVALID_FILE_SIZE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(INVALID_FILE_SIZE));
constexpr unsigned long long INVALID_SET_FILE_POINTER_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(INVALID_SET_FILE_POINTER));
constexpr unsigned long long INVALID_FILE_ATTRIBUTES_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(INVALID_FILE_ATTRIBUTES));
constexpr unsigned long long INFINITE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(INFINITE));
constexpr unsigned long long MAX_PATH_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(MAX_PATH));
constexpr unsigned long long ERROR_SUCCESS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SUCCESS));
constexpr unsigned long long ERROR_INVALID_FUNCTION_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_INVALID_FUNCTION));
constexpr unsigned long long ERROR_FILE_NOT_FOUND_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_FILE_NOT_FOUND));
constexpr unsigned long long ERROR_PATH_NOT_FOUND_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_PATH_NOT_FOUND));
constexpr unsigned long long ERROR_ACCESS_DENIED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_ACCESS_DENIED));
constexpr unsigned long long ERROR_INVALID_HANDLE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_INVALID_HANDLE));
constexpr unsigned long long ERROR_NOT_ENOUGH_MEMORY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_NOT_ENOUGH_MEMORY));
constexpr unsigned long long ERROR_NO_MORE_FILES_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_NO_MORE_FILES));
constexpr unsigned long long ERROR_SHARING_VIOLATION_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SHARING_VIOLATION));
constexpr unsigned long long ERROR_HANDLE_EOF_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_HANDLE_EOF));
constexpr unsigned long long ERROR_NOT_SUPPORTED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_NOT_SUPPORTED));
constexpr unsigned long long ERROR_FILE_EXISTS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_FILE_EXISTS));
constexpr unsigned long long ERROR_INVALID_PARAMETER_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_INVALID_PARAMETER));
constexpr unsigned long long ERROR_INSUFFICIENT_BUFFER_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_INSUFFICIENT_BUFFER));
constexpr unsigned long long ERROR_MOD_NOT_FOUND_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_MOD_NOT_FOUND));
constexpr unsigned long long ERROR_PROC_NOT_FOUND_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_PROC_NOT_FOUND));
constexpr unsigned long long ERROR_DIR_NOT_EMPTY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_DIR_NOT_EMPTY));
constexpr unsigned long long ERROR_ALREADY_EXISTS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_ALREADY_EXISTS));
constexpr unsigned long long ERROR_MORE_DATA_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_MORE_DATA));
constexpr unsigned long long ERROR_NO_MORE_ITEMS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_NO_MORE_ITEMS));
constexpr unsigned long long ERROR_INVALID_DATA_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_INVALID_DATA));
constexpr unsigned long long ERROR_SERVICE_REQUEST_TIMEOUT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_REQUEST_TIMEOUT));
constexpr unsigned long long ERROR_SERVICE_ALREADY_RUNNING_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_ALREADY_RUNNING));
constexpr unsigned long long ERROR_SERVICE_DISABLED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_DISABLED));
constexpr unsigned long long ERROR_SERVICE_DOES_NOT_EXIST_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_DOES_NOT_EXIST));
constexpr unsigned long long ERROR_SERVICE_CANNOT_ACCEPT_CTRL_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_CANNOT_ACCEPT_CTRL));
constexpr unsigned long long ERROR_SERVICE_NOT_ACTIVE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_NOT_ACTIVE));
constexpr unsigned long long ERROR_SERVICE_MARKED_FOR_DELETE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_MARKED_FOR_DELETE));
constexpr unsigned long long ERROR_SERVICE_EXISTS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SERVICE_EXISTS));
constexpr unsigned long long ERROR_FILE_CORRUPT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_FILE_CORRUPT));
constexpr unsigned long long ERROR_SECTION_NOT_FOUND_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_SECTION_NOT_FOUND));
constexpr unsigned long long ERROR_NO_SUCH_DEVINST_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_NO_SUCH_DEVINST));
constexpr unsigned long long ERROR_INVALID_CLASS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_INVALID_CLASS));
constexpr unsigned long long ERROR_IN_WOW64_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_IN_WOW64));
constexpr unsigned long long ERROR_DEVINST_ALREADY_EXISTS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_DEVINST_ALREADY_EXISTS));
constexpr unsigned long long ERROR_NO_DRIVER_SELECTED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_NO_DRIVER_SELECTED));
constexpr unsigned long long ERROR_NO_SUCH_DEVICE_INTERFACE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(ERROR_NO_SUCH_DEVICE_INTERFACE));
constexpr unsigned long long GENERIC_READ_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(GENERIC_READ));
constexpr unsigned long long GENERIC_WRITE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(GENERIC_WRITE));
constexpr unsigned long long FILE_SHARE_READ_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_SHARE_READ));
constexpr unsigned long long FILE_SHARE_WRITE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_SHARE_WRITE));
constexpr unsigned long long FILE_SHARE_DELETE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_SHARE_DELETE));
constexpr unsigned long long CREATE_NEW_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(CREATE_NEW));
constexpr unsigned long long CREATE_ALWAYS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(CREATE_ALWAYS));
constexpr unsigned long long OPEN_EXISTING_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(OPEN_EXISTING));
constexpr unsigned long long OPEN_ALWAYS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(OPEN_ALWAYS));
constexpr unsigned long long TRUNCATE_EXISTING_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(TRUNCATE_EXISTING));
constexpr unsigned long long FILE_ATTRIBUTE_READONLY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_ATTRIBUTE_READONLY));
constexpr unsigned long long FILE_ATTRIBUTE_HIDDEN_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_ATTRIBUTE_HIDDEN));
constexpr unsigned long long FILE_ATTRIBUTE_SYSTEM_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_ATTRIBUTE_SYSTEM));
constexpr unsigned long long FILE_ATTRIBUTE_DIRECTORY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_ATTRIBUTE_DIRECTORY));
constexpr unsigned long long FILE_ATTRIBUTE_ARCHIVE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_ATTRIBUTE_ARCHIVE));
constexpr unsigned long long FILE_ATTRIBUTE_NORMAL_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_ATTRIBUTE_NORMAL));
constexpr unsigned long long FILE_BEGIN_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_BEGIN));
constexpr unsigned long long FILE_CURRENT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_CURRENT));
constexpr unsigned long long FILE_END_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_END));
constexpr unsigned long long PAGE_READONLY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(PAGE_READONLY));
constexpr unsigned long long FILE_MAP_READ_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(FILE_MAP_READ));
constexpr unsigned long long VER_PLATFORM_WIN32s_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(VER_PLATFORM_WIN32s));
constexpr unsigned long long VER_PLATFORM_WIN32_WINDOWS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(VER_PLATFORM_WIN32_WINDOWS));
constexpr unsigned long long VER_PLATFORM_WIN32_NT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(VER_PLATFORM_WIN32_NT));
constexpr unsigned long long TOKEN_ADJUST_PRIVILEGES_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(TOKEN_ADJUST_PRIVILEGES));
constexpr unsigned long long TOKEN_QUERY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(TOKEN_QUERY));
constexpr unsigned long long SE_PRIVILEGE_ENABLED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SE_PRIVILEGE_ENABLED));
constexpr unsigned long long EWX_REBOOT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(EWX_REBOOT));
constexpr unsigned long long WAIT_OBJECT_0_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(WAIT_OBJECT_0));
constexpr unsigned long long WAIT_FAILED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(WAIT_FAILED));
constexpr unsigned long long MB_OK_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(MB_OK));
constexpr unsigned long long MB_YESNO_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(MB_YESNO));
constexpr unsigned long long MB_ICONSTOP_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(MB_ICONSTOP));
constexpr unsigned long long MB_ICONINFORMATION_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(MB_ICONINFORMATION));
constexpr unsigned long long IDOK_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(IDOK));
constexpr unsigned long long IDYES_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(IDYES));
constexpr unsigned long long IDNO_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(IDNO));
constexpr unsigned long long KEY_QUERY_VALUE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(KEY_QUERY_VALUE));
constexpr unsigned long long KEY_SET_VALUE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(KEY_SET_VALUE));
constexpr unsigned long long KEY_CREATE_SUB_KEY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(KEY_CREATE_SUB_KEY));
constexpr unsigned long long KEY_ENUMERATE_SUB_KEYS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(KEY_ENUMERATE_SUB_KEYS));
constexpr unsigned long long KEY_READ_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(KEY_READ));
constexpr unsigned long long KEY_WRITE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(KEY_WRITE));
constexpr unsigned long long KEY_ALL_ACCESS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(KEY_ALL_ACCESS));
constexpr unsigned long long WRITE_DAC_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(WRITE_DAC));
constexpr unsigned long long REG_NONE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_NONE));
constexpr unsigned long long REG_SZ_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_SZ));
constexpr unsigned long long REG_EXPAND_SZ_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_EXPAND_SZ));
constexpr unsigned long long REG_BINARY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_BINARY));
constexpr unsigned long long REG_DWORD_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_DWORD));
constexpr unsigned long long REG_MULTI_SZ_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_MULTI_SZ));
constexpr unsigned long long REG_OPTION_NON_VOLATILE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_OPTION_NON_VOLATILE));
constexpr unsigned long long REG_CREATED_NEW_KEY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_CREATED_NEW_KEY));
constexpr unsigned long long REG_OPENED_EXISTING_KEY_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(REG_OPENED_EXISTING_KEY));
constexpr unsigned long long DACL_SECURITY_INFORMATION_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DACL_SECURITY_INFORMATION));
constexpr unsigned long long SECURITY_DESCRIPTOR_REVISION_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SECURITY_DESCRIPTOR_REVISION));
constexpr unsigned long long SC_MANAGER_ALL_ACCESS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SC_MANAGER_ALL_ACCESS));
constexpr unsigned long long SERVICE_ALL_ACCESS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_ALL_ACCESS));
constexpr unsigned long long SERVICE_KERNEL_DRIVER_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_KERNEL_DRIVER));
constexpr unsigned long long SERVICE_WIN32_OWN_PROCESS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_WIN32_OWN_PROCESS));
constexpr unsigned long long SERVICE_BOOT_START_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_BOOT_START));
constexpr unsigned long long SERVICE_SYSTEM_START_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_SYSTEM_START));
constexpr unsigned long long SERVICE_AUTO_START_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_AUTO_START));
constexpr unsigned long long SERVICE_DEMAND_START_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_DEMAND_START));
constexpr unsigned long long SERVICE_DISABLED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_DISABLED));
constexpr unsigned long long SERVICE_ERROR_NORMAL_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_ERROR_NORMAL));
constexpr unsigned long long SERVICE_CONTROL_STOP_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_CONTROL_STOP));
constexpr unsigned long long SERVICE_STOPPED_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_STOPPED));
constexpr unsigned long long SERVICE_START_PENDING_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_START_PENDING));
constexpr unsigned long long SERVICE_STOP_PENDING_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_STOP_PENDING));
constexpr unsigned long long SERVICE_RUNNING_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SERVICE_RUNNING));
constexpr unsigned long long DELETE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DELETE));
constexpr unsigned long long DIGCF_DEFAULT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DIGCF_DEFAULT));
constexpr unsigned long long DIGCF_PRESENT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DIGCF_PRESENT));
constexpr unsigned long long DIGCF_ALLCLASSES_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DIGCF_ALLCLASSES));
constexpr unsigned long long DIGCF_PROFILE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DIGCF_PROFILE));
constexpr unsigned long long DICD_GENERATE_ID_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DICD_GENERATE_ID));
constexpr unsigned long long SPDRP_HARDWAREID_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SPDRP_HARDWAREID));
constexpr unsigned long long SPDRP_COMPATIBLEIDS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SPDRP_COMPATIBLEIDS));
constexpr unsigned long long SPDRP_SERVICE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SPDRP_SERVICE));
constexpr unsigned long long SPDRP_CLASS_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SPDRP_CLASS));
constexpr unsigned long long SPDRP_DRIVER_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SPDRP_DRIVER));
constexpr unsigned long long DIF_REGISTERDEVICE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DIF_REGISTERDEVICE));
constexpr unsigned long long DIF_REMOVE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DIF_REMOVE));
constexpr unsigned long long DIF_PROPERTYCHANGE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DIF_PROPERTYCHANGE));
constexpr unsigned long long DICS_ENABLE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DICS_ENABLE));
constexpr unsigned long long DICS_DISABLE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DICS_DISABLE));
constexpr unsigned long long DICS_PROPCHANGE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DICS_PROPCHANGE));
constexpr unsigned long long DICS_FLAG_GLOBAL_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DICS_FLAG_GLOBAL));
constexpr unsigned long long DICS_FLAG_CONFIGSPECIFIC_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DICS_FLAG_CONFIGSPECIFIC));
constexpr unsigned long long DI_NEEDRESTART_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DI_NEEDRESTART));
constexpr unsigned long long DI_NEEDREBOOT_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(DI_NEEDREBOOT));
constexpr unsigned long long SPOST_PATH_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SPOST_PATH));
constexpr unsigned long long SP_COPY_NOOVERWRITE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(SP_COPY_NOOVERWRITE));
constexpr unsigned long long INSTALLFLAG_FORCE_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(INSTALLFLAG_FORCE));
constexpr unsigned long long LINE_LEN_ =
    static_cast<unsigned long long>(static_cast<unsigned int>(LINE_LEN));
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

static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::TRUE)) == win::TRUE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FALSE)) ==
              win::FALSE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::INVALID_FILE_SIZE)) ==
              win::INVALID_FILE_SIZE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::INVALID_SET_FILE_POINTER)) == win::INVALID_SET_FILE_POINTER_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::INVALID_FILE_ATTRIBUTES)) == win::INVALID_FILE_ATTRIBUTES_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::INFINITE)) ==
              win::INFINITE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::MAX_PATH)) ==
              win::MAX_PATH_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::ERROR_SUCCESS)) ==
              win::ERROR_SUCCESS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_INVALID_FUNCTION)) == win::ERROR_INVALID_FUNCTION_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_FILE_NOT_FOUND)) == win::ERROR_FILE_NOT_FOUND_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_PATH_NOT_FOUND)) == win::ERROR_PATH_NOT_FOUND_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_ACCESS_DENIED)) == win::ERROR_ACCESS_DENIED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_INVALID_HANDLE)) == win::ERROR_INVALID_HANDLE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_NOT_ENOUGH_MEMORY)) == win::ERROR_NOT_ENOUGH_MEMORY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_NO_MORE_FILES)) == win::ERROR_NO_MORE_FILES_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SHARING_VIOLATION)) == win::ERROR_SHARING_VIOLATION_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::ERROR_HANDLE_EOF)) ==
              win::ERROR_HANDLE_EOF_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_NOT_SUPPORTED)) == win::ERROR_NOT_SUPPORTED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::ERROR_FILE_EXISTS)) ==
              win::ERROR_FILE_EXISTS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_INVALID_PARAMETER)) == win::ERROR_INVALID_PARAMETER_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_INSUFFICIENT_BUFFER)) == win::ERROR_INSUFFICIENT_BUFFER_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_MOD_NOT_FOUND)) == win::ERROR_MOD_NOT_FOUND_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_PROC_NOT_FOUND)) == win::ERROR_PROC_NOT_FOUND_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_DIR_NOT_EMPTY)) == win::ERROR_DIR_NOT_EMPTY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_ALREADY_EXISTS)) == win::ERROR_ALREADY_EXISTS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::ERROR_MORE_DATA)) ==
              win::ERROR_MORE_DATA_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_NO_MORE_ITEMS)) == win::ERROR_NO_MORE_ITEMS_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::ERROR_INVALID_DATA)) == win::ERROR_INVALID_DATA_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SERVICE_REQUEST_TIMEOUT)) == win::ERROR_SERVICE_REQUEST_TIMEOUT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SERVICE_ALREADY_RUNNING)) == win::ERROR_SERVICE_ALREADY_RUNNING_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SERVICE_DISABLED)) == win::ERROR_SERVICE_DISABLED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SERVICE_DOES_NOT_EXIST)) == win::ERROR_SERVICE_DOES_NOT_EXIST_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::ERROR_SERVICE_CANNOT_ACCEPT_CTRL)) ==
              win::ERROR_SERVICE_CANNOT_ACCEPT_CTRL_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SERVICE_NOT_ACTIVE)) == win::ERROR_SERVICE_NOT_ACTIVE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SERVICE_MARKED_FOR_DELETE)) == win::ERROR_SERVICE_MARKED_FOR_DELETE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SERVICE_EXISTS)) == win::ERROR_SERVICE_EXISTS_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::ERROR_FILE_CORRUPT)) == win::ERROR_FILE_CORRUPT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_SECTION_NOT_FOUND)) == win::ERROR_SECTION_NOT_FOUND_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_NO_SUCH_DEVINST)) == win::ERROR_NO_SUCH_DEVINST_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_INVALID_CLASS)) == win::ERROR_INVALID_CLASS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_IN_WOW64)) == win::ERROR_IN_WOW64_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_DEVINST_ALREADY_EXISTS)) == win::ERROR_DEVINST_ALREADY_EXISTS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_NO_DRIVER_SELECTED)) == win::ERROR_NO_DRIVER_SELECTED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::ERROR_NO_SUCH_DEVICE_INTERFACE)) == win::ERROR_NO_SUCH_DEVICE_INTERFACE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::GENERIC_READ)) ==
              win::GENERIC_READ_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::GENERIC_WRITE)) ==
              win::GENERIC_WRITE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FILE_SHARE_READ)) ==
              win::FILE_SHARE_READ_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FILE_SHARE_WRITE)) ==
              win::FILE_SHARE_WRITE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FILE_SHARE_DELETE)) ==
              win::FILE_SHARE_DELETE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::CREATE_NEW)) ==
              win::CREATE_NEW_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::CREATE_ALWAYS)) ==
              win::CREATE_ALWAYS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::OPEN_EXISTING)) ==
              win::OPEN_EXISTING_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::OPEN_ALWAYS)) ==
              win::OPEN_ALWAYS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::TRUNCATE_EXISTING)) ==
              win::TRUNCATE_EXISTING_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::FILE_ATTRIBUTE_READONLY)) == win::FILE_ATTRIBUTE_READONLY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::FILE_ATTRIBUTE_HIDDEN)) == win::FILE_ATTRIBUTE_HIDDEN_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::FILE_ATTRIBUTE_SYSTEM)) == win::FILE_ATTRIBUTE_SYSTEM_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::FILE_ATTRIBUTE_DIRECTORY)) == win::FILE_ATTRIBUTE_DIRECTORY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::FILE_ATTRIBUTE_ARCHIVE)) == win::FILE_ATTRIBUTE_ARCHIVE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::FILE_ATTRIBUTE_NORMAL)) == win::FILE_ATTRIBUTE_NORMAL_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FILE_BEGIN)) ==
              win::FILE_BEGIN_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FILE_CURRENT)) ==
              win::FILE_CURRENT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FILE_END)) ==
              win::FILE_END_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::PAGE_READONLY)) ==
              win::PAGE_READONLY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::FILE_MAP_READ)) ==
              win::FILE_MAP_READ_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::VER_PLATFORM_WIN32s)) == win::VER_PLATFORM_WIN32s_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::VER_PLATFORM_WIN32_WINDOWS)) == win::VER_PLATFORM_WIN32_WINDOWS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::VER_PLATFORM_WIN32_NT)) == win::VER_PLATFORM_WIN32_NT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::TOKEN_ADJUST_PRIVILEGES)) == win::TOKEN_ADJUST_PRIVILEGES_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::TOKEN_QUERY)) ==
              win::TOKEN_QUERY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SE_PRIVILEGE_ENABLED)) == win::SE_PRIVILEGE_ENABLED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::EWX_REBOOT)) ==
              win::EWX_REBOOT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::WAIT_OBJECT_0)) ==
              win::WAIT_OBJECT_0_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::WAIT_FAILED)) ==
              win::WAIT_FAILED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::MB_OK)) ==
              win::MB_OK_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::MB_YESNO)) ==
              win::MB_YESNO_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::MB_ICONSTOP)) ==
              win::MB_ICONSTOP_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::MB_ICONINFORMATION)) == win::MB_ICONINFORMATION_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::IDOK)) == win::IDOK_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::IDYES)) ==
              win::IDYES_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::IDNO)) == win::IDNO_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::KEY_QUERY_VALUE)) ==
              win::KEY_QUERY_VALUE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::KEY_SET_VALUE)) ==
              win::KEY_SET_VALUE_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::KEY_CREATE_SUB_KEY)) == win::KEY_CREATE_SUB_KEY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::KEY_ENUMERATE_SUB_KEYS)) == win::KEY_ENUMERATE_SUB_KEYS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::KEY_READ)) ==
              win::KEY_READ_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::KEY_WRITE)) ==
              win::KEY_WRITE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::KEY_ALL_ACCESS)) ==
              win::KEY_ALL_ACCESS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::WRITE_DAC)) ==
              win::WRITE_DAC_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::REG_NONE)) ==
              win::REG_NONE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::REG_SZ)) ==
              win::REG_SZ_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::REG_EXPAND_SZ)) ==
              win::REG_EXPAND_SZ_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::REG_BINARY)) ==
              win::REG_BINARY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::REG_DWORD)) ==
              win::REG_DWORD_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::REG_MULTI_SZ)) ==
              win::REG_MULTI_SZ_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::REG_OPTION_NON_VOLATILE)) == win::REG_OPTION_NON_VOLATILE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::REG_CREATED_NEW_KEY)) == win::REG_CREATED_NEW_KEY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::REG_OPENED_EXISTING_KEY)) == win::REG_OPENED_EXISTING_KEY_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::DACL_SECURITY_INFORMATION)) == win::DACL_SECURITY_INFORMATION_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SECURITY_DESCRIPTOR_REVISION)) == win::SECURITY_DESCRIPTOR_REVISION_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SC_MANAGER_ALL_ACCESS)) == win::SC_MANAGER_ALL_ACCESS_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::SERVICE_ALL_ACCESS)) == win::SERVICE_ALL_ACCESS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_KERNEL_DRIVER)) == win::SERVICE_KERNEL_DRIVER_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_WIN32_OWN_PROCESS)) == win::SERVICE_WIN32_OWN_PROCESS_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::SERVICE_BOOT_START)) == win::SERVICE_BOOT_START_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_SYSTEM_START)) == win::SERVICE_SYSTEM_START_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::SERVICE_AUTO_START)) == win::SERVICE_AUTO_START_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_DEMAND_START)) == win::SERVICE_DEMAND_START_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SERVICE_DISABLED)) ==
              win::SERVICE_DISABLED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_ERROR_NORMAL)) == win::SERVICE_ERROR_NORMAL_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_CONTROL_STOP)) == win::SERVICE_CONTROL_STOP_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SERVICE_STOPPED)) ==
              win::SERVICE_STOPPED_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_START_PENDING)) == win::SERVICE_START_PENDING_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SERVICE_STOP_PENDING)) == win::SERVICE_STOP_PENDING_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SERVICE_RUNNING)) ==
              win::SERVICE_RUNNING_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DELETE)) ==
              win::DELETE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DIGCF_DEFAULT)) ==
              win::DIGCF_DEFAULT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DIGCF_PRESENT)) ==
              win::DIGCF_PRESENT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DIGCF_ALLCLASSES)) ==
              win::DIGCF_ALLCLASSES_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DIGCF_PROFILE)) ==
              win::DIGCF_PROFILE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DICD_GENERATE_ID)) ==
              win::DICD_GENERATE_ID_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SPDRP_HARDWAREID)) ==
              win::SPDRP_HARDWAREID_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SPDRP_COMPATIBLEIDS)) == win::SPDRP_COMPATIBLEIDS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SPDRP_SERVICE)) ==
              win::SPDRP_SERVICE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SPDRP_CLASS)) ==
              win::SPDRP_CLASS_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SPDRP_DRIVER)) ==
              win::SPDRP_DRIVER_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::DIF_REGISTERDEVICE)) == win::DIF_REGISTERDEVICE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DIF_REMOVE)) ==
              win::DIF_REMOVE_);
static_assert(static_cast<unsigned long long>(
                  static_cast<unsigned int>(plat::DIF_PROPERTYCHANGE)) == win::DIF_PROPERTYCHANGE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DICS_ENABLE)) ==
              win::DICS_ENABLE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DICS_DISABLE)) ==
              win::DICS_DISABLE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DICS_PROPCHANGE)) ==
              win::DICS_PROPCHANGE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DICS_FLAG_GLOBAL)) ==
              win::DICS_FLAG_GLOBAL_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::DICS_FLAG_CONFIGSPECIFIC)) == win::DICS_FLAG_CONFIGSPECIFIC_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DI_NEEDRESTART)) ==
              win::DI_NEEDRESTART_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::DI_NEEDREBOOT)) ==
              win::DI_NEEDREBOOT_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::SPOST_PATH)) ==
              win::SPOST_PATH_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(
                  plat::SP_COPY_NOOVERWRITE)) == win::SP_COPY_NOOVERWRITE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::INSTALLFLAG_FORCE)) ==
              win::INSTALLFLAG_FORCE_);
static_assert(static_cast<unsigned long long>(static_cast<unsigned int>(plat::LINE_LEN)) ==
              win::LINE_LEN_);
static_assert(plat::SECURITY_DESCRIPTOR_MIN_LENGTH >= win::SECURITY_DESCRIPTOR_MIN_LENGTH_);
