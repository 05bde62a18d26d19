// setup-host: a minimal installer that drives a packaged Setup.dll on Windows
// (or under Wine) the way a real installer does.
//
//   setup-host.exe [--watch FILE]... DLL [COMMAND...]
//   setup-host.exe --batch LIST
//
// Loads DLL with LoadLibraryA, calls its export Action once per COMMAND, and
// frees it. Standard output carries only what the library prints; the host's
// own lines go to standard error:
//   Action returned N                  after every call
//   [watch] loaded: PATH exists|missing    for every --watch, after the load,
//   [watch] before unload: ...              after the calls, and
//   [watch] unloaded: PATH exists|missing  after the unload
//   [msgbox] CAPTION: TEXT -> ANSWER   a message box, answered with its default button
//                                      (line feeds in TEXT as \n, CRs as \r)
// A FILE without a directory part is looked up in the Windows directory, where
// the library extracts its script.
//
// Exit status: 0 when the library loaded and was freed, 1 when the load
// failed, 2 for a usage error or a library without Action.
//
// --batch runs many cases in one process, so that a test suite pays Wine's
// start-up once. LIST holds one record per case:
//   @case
//   DIRECTORY      the current directory during the case
//   DLL            the library to load (a fresh module file per case)
//   STDOUT         the file that receives the case's standard output
//   STDERR         the file that receives the host's lines for the case
//   +COMMAND       one line per Action call ("+" alone: the empty command)
// Each case loads its DLL, calls Action per command and frees it, exactly as
// a single run does; its exit status goes to STDERR as "exit N". The batch
// exits 0 when every record was run, 2 for a list it cannot read.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

using ActionProc = int(WINAPI*)(const char*);

// The Windows directory as the library derives it: the system directory
// without its last component.
std::string WindowsDirectory() {
  char buffer[MAX_PATH] = {};
  GetSystemDirectoryA(buffer, sizeof buffer - 1);
  std::string dir = buffer;
  const std::size_t slash = dir.rfind('\\');
  return slash == std::string::npos ? dir : dir.substr(0, slash);
}

std::string ResolveWatch(const std::string& file) {
  if (file.find_first_of("\\/:") != std::string::npos) return file;
  return WindowsDirectory() + "\\" + file;
}

void ReportWatches(const char* when, const std::vector<std::string>& watches) {
  for (const std::string& path : watches) {
    const bool exists = GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    std::fprintf(stderr, "[watch] %s: %s %s\n", when, path.c_str(), exists ? "exists" : "missing");
  }
  std::fflush(stderr);
}

// The default button of a message box: the one the dialog names, else the
// button with the default push button style (Wine's boxes keep naming OK
// when they have no such button), else OK.
int DefaultButton(HWND window) {
  const LRESULT defId = SendMessageA(window, DM_GETDEFID, 0, 0);
  if (HIWORD(defId) == DC_HASDEFID && GetDlgItem(window, LOWORD(defId)) != nullptr) {
    return LOWORD(defId);
  }
  for (const int id :
       {IDOK, IDCANCEL, IDABORT, IDRETRY, IDIGNORE, IDYES, IDNO, IDTRYAGAIN, IDCONTINUE}) {
    const HWND button = GetDlgItem(window, id);
    if (button != nullptr &&
        (GetWindowLongA(button, GWL_STYLE) & BS_TYPEMASK) == BS_DEFPUSHBUTTON) {
      return id;
    }
  }
  return IDOK;
}

// Message boxes are answered at once with their default button, so that a
// test run never waits for a user. The hook sees each dialog once its
// WM_INITDIALOG has run (the text, buttons and default button are set then;
// Wine activates the window before that).
HHOOK theHook = nullptr;

LRESULT CALLBACK AnswerDialogs(int code, WPARAM wParam, LPARAM lParam) {
  const auto* call = reinterpret_cast<const CWPRETSTRUCT*>(lParam);
  if (code == HC_ACTION && call->message == WM_INITDIALOG) {
    HWND window = call->hwnd;
    char className[16] = {};
    GetClassNameA(window, className, sizeof className);
    if (std::strcmp(className, "#32770") == 0) {
      char caption[256] = {};
      char text[8192] = {};
      GetWindowTextA(window, caption, sizeof caption);
      GetDlgItemTextA(window, 0xFFFF, text, sizeof text);
      const int answer = DefaultButton(window);
      // Line breaks written as the simulator's event log writes them.
      std::string shown;
      for (const char* c = text; *c != '\0'; ++c) {
        if (*c == '\n') {
          shown += "\\n";
        } else if (*c == '\r') {
          shown += "\\r";
        } else {
          shown += *c;
        }
      }
      std::fprintf(stderr, "[msgbox] %s: %s -> %d\n", caption, shown.c_str(), answer);
      std::fflush(stderr);
      PostMessageA(window, WM_COMMAND, MAKEWPARAM(answer, BN_CLICKED), 0);
    }
  }
  return CallNextHookEx(theHook, code, wParam, lParam);
}

int Usage() {
  std::fprintf(stderr,
               "usage: setup-host [--watch FILE]... DLL [COMMAND...]\n"
               "       setup-host --batch LIST\n");
  return 2;
}

}  // namespace

int RunCase(const char* dllPath, const std::vector<std::string>& commands,
            const std::vector<std::string>& watches) {
  HMODULE library = LoadLibraryA(dllPath);
  if (library == nullptr) {
    std::fprintf(stderr, "setup-host: cannot load %s (error %lu)\n", dllPath, GetLastError());
    ReportWatches("unloaded", watches);
    return 1;
  }
  ReportWatches("loaded", watches);

  auto action =
      reinterpret_cast<ActionProc>(reinterpret_cast<void*>(GetProcAddress(library, "Action")));
  if (action == nullptr) {
    std::fprintf(stderr, "setup-host: %s has no export named Action\n", dllPath);
    FreeLibrary(library);
    return 2;
  }

  for (const std::string& command : commands) {
    const int result = action(command.c_str());
    std::fflush(stdout);
    std::fprintf(stderr, "Action returned %d\n", result);
    std::fflush(stderr);
  }

  ReportWatches("before unload", watches);
  FreeLibrary(library);
  ReportWatches("unloaded", watches);
  return 0;
}

// Points the C runtime's stream (and the process's standard handle, which
// programs the library starts inherit) at FILE.
bool Redirect(FILE* stream, DWORD standardHandle, const std::string& file) {
  std::fflush(stream);
  if (std::freopen(file.c_str(), "w", stream) == nullptr) return false;
  const intptr_t handle = _get_osfhandle(_fileno(stream));
  if (handle != -1) SetStdHandle(standardHandle, reinterpret_cast<HANDLE>(handle));
  return true;
}

int RunBatch(const char* listPath) {
  std::ifstream list(listPath, std::ios::binary);
  if (!list) {
    std::fprintf(stderr, "setup-host: cannot read %s\n", listPath);
    return 2;
  }
  std::vector<std::string> lines;
  for (std::string line; std::getline(list, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  const HANDLE originalOut = GetStdHandle(STD_OUTPUT_HANDLE);
  const HANDLE originalErr = GetStdHandle(STD_ERROR_HANDLE);
  std::size_t at = 0;
  while (at < lines.size()) {
    if (lines[at] != "@case" || at + 4 >= lines.size()) {
      std::fprintf(stderr, "setup-host: %s line %zu: expected a case record\n", listPath, at + 1);
      return 2;
    }
    const std::string directory = lines[at + 1];
    const std::string dll = lines[at + 2];
    const std::string out = lines[at + 3];
    const std::string err = lines[at + 4];
    at += 5;
    std::vector<std::string> commands;
    for (; at < lines.size() && !lines[at].empty() && lines[at][0] == '+'; ++at) {
      commands.push_back(lines[at].substr(1));
    }
    if (!Redirect(stdout, STD_OUTPUT_HANDLE, out) || !Redirect(stderr, STD_ERROR_HANDLE, err)) {
      return 2;
    }
    int status = 2;
    if (SetCurrentDirectoryA(directory.c_str())) {
      status = RunCase(dll.c_str(), commands, {});
    } else {
      std::fprintf(stderr, "setup-host: cannot enter %s (error %lu)\n", directory.c_str(),
                   GetLastError());
    }
    std::fflush(stdout);
    std::fprintf(stderr, "exit %d\n", status);
    std::fflush(stderr);
  }
  // Back to the console, so that nothing is written into the last case's files.
  std::fflush(stdout);
  std::fflush(stderr);
  SetStdHandle(STD_OUTPUT_HANDLE, originalOut);
  SetStdHandle(STD_ERROR_HANDLE, originalErr);
  return 0;
}

int main(int argc, char** argv) {
  theHook = SetWindowsHookExA(WH_CALLWNDPROCRET, AnswerDialogs, nullptr, GetCurrentThreadId());
  int status = 2;
  if (argc == 3 && std::strcmp(argv[1], "--batch") == 0) {
    status = RunBatch(argv[2]);
  } else {
    std::vector<std::string> watches;
    int arg = 1;
    while (arg < argc && std::strcmp(argv[arg], "--watch") == 0) {
      if (arg + 1 >= argc) break;
      watches.push_back(ResolveWatch(argv[arg + 1]));
      arg += 2;
    }
    if (arg < argc && std::strcmp(argv[arg], "--watch") != 0) {
      const char* dllPath = argv[arg++];
      status = RunCase(dllPath, std::vector<std::string>(argv + arg, argv + argc), watches);
    } else {
      status = Usage();
    }
  }
  if (theHook != nullptr) UnhookWindowsHookEx(theHook);
  return status;
}
