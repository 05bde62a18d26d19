// System environment built-ins: version, language, restart flag, message
// boxes, waiting, running programs and restarting the system.
#include <cstring>
#include <string>
#include <vector>

#include "base/global.h"
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"
#include "diag/report.h"

namespace setup {

// ---- Operations ----------------------------------------------------------------------

std::int32_t MsgBox(const char* text, const char* caption, std::int32_t flags) {
  // Only a backslash followed by `n` is an escape: it becomes a line feed.
  std::string shown;
  for (const char* p = text; *p != '\0'; ++p) {
    if (p[0] == '\\' && p[1] == 'n') {
      shown += '\n';
      ++p;
    } else {
      shown += *p;
    }
  }
  return plat::MessageBoxA(nullptr, shown.c_str(), caption, static_cast<plat::UINT>(flags));
}

std::int32_t SleepFor(std::int32_t milliseconds) {
  plat::Sleep(static_cast<plat::DWORD>(milliseconds));
  return 1;
}

std::int32_t Execute(const char* commandLine) {
  // The command line buffer may be written to by process creation.
  std::vector<char> line(commandLine, commandLine + std::strlen(commandLine) + 1);
  plat::STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  plat::PROCESS_INFORMATION process{};
  if (!plat::CreateProcessA(nullptr, line.data(), nullptr, nullptr, plat::FALSE, 0, nullptr,
                            nullptr, &startup, &process)) {
    return 0;
  }
  plat::WaitForSingleObject(process.hProcess, plat::INFINITE);
  plat::CloseHandle(process.hProcess);
  plat::CloseHandle(process.hThread);
  return 1;
}

void Reboot() {
  constexpr std::int32_t kFirstNtVersion = 3;  // OS_WINNT
  if (theGlobal.m_nOsVersion >= kFirstNtVersion) {
    plat::HANDLE token = nullptr;
    if (plat::OpenProcessToken(plat::GetCurrentProcess(), plat::TOKEN_ADJUST_PRIVILEGES, &token)) {
      plat::TOKEN_PRIVILEGES privileges{};
      privileges.PrivilegeCount = 1;
      privileges.Privileges[0].Attributes = plat::SE_PRIVILEGE_ENABLED;
      plat::LookupPrivilegeValueA(nullptr, "SeShutdownPrivilege", &privileges.Privileges[0].Luid);
      plat::AdjustTokenPrivileges(token, plat::FALSE, &privileges, 0, nullptr, nullptr);
      plat::CloseHandle(token);
    }
  }
  plat::ExitWindowsEx(plat::EWX_REBOOT, 0);
}

// ---- Handlers --------------------------------------------------------------------------

std::int32_t HandleCheckIsNeedReboot(SyntaxNode*) {
  return theGlobal.m_bNeedReboot;
}

std::int32_t HandleGetWinVersion(SyntaxNode*) {
  return theGlobal.m_nOsVersion;
}

std::int32_t HandleGetLanguage(SyntaxNode*) {
  return theGlobal.m_nLanguage;
}

std::int32_t HandleReboot(SyntaxNode*) {
  Reboot();
  return 1;
}

// Only the flags are required; a missing text or caption shows as empty.
std::int32_t HandleMsgBox(SyntaxNode*) {
  const char* text = ArgText(0, 3);
  const char* caption = ArgText(1, 3);
  std::int32_t flags = 0;
  if (!ArgNum(2, 3, &flags)) return MissingArgument();
  return MsgBox(text != nullptr ? text : "", caption != nullptr ? caption : "", flags);
}

std::int32_t HandleSleep(SyntaxNode*) {
  std::int32_t milliseconds = 0;
  if (!ArgNum(0, 1, &milliseconds)) {
    ReportError("Parameters is invalid.");
    return 0;
  }
  return SleepFor(milliseconds);
}

std::int32_t HandleExecute(SyntaxNode*) {
  const char* commandLine = ArgText(0, 1);
  if (commandLine == nullptr) return MissingArgument();
  return Execute(commandLine);
}

}  // namespace setup
