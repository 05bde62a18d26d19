// Kernel, user-interface and process functions of the real Windows API.
#include <cstdio>

#include "platform/win32/wincommon.h"

namespace plat {

using win32::Dw;

DWORD GetLastError() {
  return ::GetLastError();
}
void SetLastError(DWORD code) {
  ::SetLastError(code);
}

// ---- Files -----------------------------------------------------------------------

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
  return ::GetModuleFileNameA(reinterpret_cast<::HMODULE>(module), buffer, size);
}

HANDLE CreateFileA(LPCSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD flags, HANDLE templateFile) {
  return ::CreateFileA(path, access, share, reinterpret_cast<::LPSECURITY_ATTRIBUTES>(security),
                       disposition, flags, templateFile);
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD toRead, DWORD* read, void* overlapped) {
  return ::ReadFile(file, buffer, toRead, Dw(read), static_cast<::LPOVERLAPPED>(overlapped));
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD toWrite, DWORD* written, void* overlapped) {
  return ::WriteFile(file, buffer, toWrite, Dw(written), static_cast<::LPOVERLAPPED>(overlapped));
}

DWORD GetFileSize(HANDLE file, DWORD* sizeHigh) {
  return ::GetFileSize(file, Dw(sizeHigh));
}

DWORD SetFilePointer(HANDLE file, LONG distance, LONG* distanceHigh, DWORD method) {
  return ::SetFilePointer(file, distance, reinterpret_cast<::LONG*>(distanceHigh), method);
}

BOOL SetEndOfFile(HANDLE file) {
  return ::SetEndOfFile(file);
}
BOOL CloseHandle(HANDLE object) {
  return ::CloseHandle(object);
}

HANDLE CreateFileMappingA(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protect, DWORD sizeHigh,
                          DWORD sizeLow, LPCSTR name) {
  return ::CreateFileMappingA(file, reinterpret_cast<::LPSECURITY_ATTRIBUTES>(security), protect,
                              sizeHigh, sizeLow, name);
}

void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                    std::size_t bytes) {
  return ::MapViewOfFile(mapping, access, offsetHigh, offsetLow, bytes);
}

BOOL UnmapViewOfFile(const void* view) {
  return ::UnmapViewOfFile(view);
}
BOOL DeleteFileA(LPCSTR path) {
  return ::DeleteFileA(path);
}

BOOL CopyFileA(LPCSTR source, LPCSTR destination, BOOL failIfExists) {
  return ::CopyFileA(source, destination, failIfExists);
}

BOOL CreateDirectoryA(LPCSTR path, SECURITY_ATTRIBUTES* security) {
  return ::CreateDirectoryA(path, reinterpret_cast<::LPSECURITY_ATTRIBUTES>(security));
}

BOOL RemoveDirectoryA(LPCSTR path) {
  return ::RemoveDirectoryA(path);
}
DWORD GetFileAttributesA(LPCSTR path) {
  return ::GetFileAttributesA(path);
}

BOOL SetFileAttributesA(LPCSTR path, DWORD attributes) {
  return ::SetFileAttributesA(path, attributes);
}

HANDLE FindFirstFileA(LPCSTR pattern, WIN32_FIND_DATAA* data) {
  return ::FindFirstFileA(pattern, reinterpret_cast<::LPWIN32_FIND_DATAA>(data));
}

BOOL FindNextFileA(HANDLE find, WIN32_FIND_DATAA* data) {
  return ::FindNextFileA(find, reinterpret_cast<::LPWIN32_FIND_DATAA>(data));
}

BOOL FindClose(HANDLE find) {
  return ::FindClose(find);
}
BOOL PathFileExistsA(LPCSTR path) {
  return ::PathFileExistsA(path);
}

// ---- System information ----------------------------------------------------------

UINT GetSystemDirectoryA(LPSTR buffer, UINT size) {
  return ::GetSystemDirectoryA(buffer, size);
}

BOOL GetVersionExA(OSVERSIONINFOA* info) {
  return ::GetVersionExA(reinterpret_cast<::LPOSVERSIONINFOA>(info));
}

DWORD GetVersion() {
  return ::GetVersion();
}
LCID GetSystemDefaultLCID() {
  return ::GetSystemDefaultLCID();
}
void GetSystemTime(SYSTEMTIME* time) {
  ::GetSystemTime(reinterpret_cast<::LPSYSTEMTIME>(time));
}
void Sleep(DWORD milliseconds) {
  ::Sleep(milliseconds);
}

// ---- Libraries -------------------------------------------------------------------

HMODULE LoadLibraryA(LPCSTR name) {
  return ::LoadLibraryA(name);
}
BOOL FreeLibrary(HMODULE module) {
  return ::FreeLibrary(reinterpret_cast<::HMODULE>(module));
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  return reinterpret_cast<FARPROC>(::GetProcAddress(reinterpret_cast<::HMODULE>(module), name));
}

// ---- Processes, privileges, shutdown ---------------------------------------------

BOOL CreateProcessA(LPCSTR application, LPSTR commandLine, SECURITY_ATTRIBUTES* processAttributes,
                    SECURITY_ATTRIBUTES* threadAttributes, BOOL inheritHandles, DWORD flags,
                    void* environment, LPCSTR currentDirectory, STARTUPINFOA* startup,
                    PROCESS_INFORMATION* process) {
  return ::CreateProcessA(
      application, commandLine, reinterpret_cast<::LPSECURITY_ATTRIBUTES>(processAttributes),
      reinterpret_cast<::LPSECURITY_ATTRIBUTES>(threadAttributes), inheritHandles, flags,
      environment, currentDirectory, reinterpret_cast<::LPSTARTUPINFOA>(startup),
      reinterpret_cast<::LPPROCESS_INFORMATION>(process));
}

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) {
  return ::WaitForSingleObject(object, milliseconds);
}

HANDLE GetCurrentProcess() {
  return ::GetCurrentProcess();
}

BOOL OpenProcessToken(HANDLE process, DWORD access, HANDLE* token) {
  return ::OpenProcessToken(process, access, token);
}

BOOL LookupPrivilegeValueA(LPCSTR system, LPCSTR name, LUID* luid) {
  return ::LookupPrivilegeValueA(system, name, reinterpret_cast<::PLUID>(luid));
}

BOOL AdjustTokenPrivileges(HANDLE token, BOOL disableAll, TOKEN_PRIVILEGES* newState,
                           DWORD bufferLength, TOKEN_PRIVILEGES* previous, DWORD* returnLength) {
  return ::AdjustTokenPrivileges(token, disableAll, reinterpret_cast<::PTOKEN_PRIVILEGES>(newState),
                                 bufferLength, reinterpret_cast<::PTOKEN_PRIVILEGES>(previous),
                                 Dw(returnLength));
}

BOOL ExitWindowsEx(UINT flags, DWORD reason) {
  return ::ExitWindowsEx(flags, reason);
}

// ---- User interface --------------------------------------------------------------

int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type) {
  return ::MessageBoxA(static_cast<::HWND>(owner), text, caption, type);
}

void WriteStdout(const char* text, std::size_t length) {
  if (text == nullptr) return;
  std::fwrite(text, 1, length, stdout);
  std::fflush(stdout);
}

}  // namespace plat
