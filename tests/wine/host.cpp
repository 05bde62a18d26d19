// setup-host: a minimal installer that drives a packaged Setup.dll on Windows
// (or under Wine) the way a real installer does.
//
//   setup-host.exe [--watch FILE]... DLL [COMMAND...]
//
// Loads DLL with LoadLibraryA, calls its export Action once per COMMAND, and
// frees it. Standard output carries only what the library prints; the host's
// own lines go to standard error:
//   Action returned N                  after every call
//   [watch] loaded: PATH exists|missing    for every --watch, after the load,
//   [watch] before unload: ...              after the calls, and
//   [watch] unloaded: PATH exists|missing  after the unload
//   [msgbox] CAPTION: TEXT -> ANSWER   a message box, answered with its default button
// A FILE without a directory part is looked up in the Windows directory, where
// the library extracts its script.
//
// Exit status: 0 when the library loaded and was freed, 1 when the load
// failed, 2 for a usage error or a library without Action.
#include <windows.h>

#include <cstdio>
#include <cstring>
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

// Message boxes are answered at once with their default button, so that a
// test run never waits for a user. A CBT hook sees each dialog as it is
// activated.
HHOOK theHook = nullptr;

LRESULT CALLBACK AnswerDialogs(int code, WPARAM wParam, LPARAM lParam) {
  if (code == HCBT_ACTIVATE) {
    HWND window = reinterpret_cast<HWND>(wParam);
    char className[16] = {};
    GetClassNameA(window, className, sizeof className);
    if (std::strcmp(className, "#32770") == 0) {
      char caption[256] = {};
      char text[1024] = {};
      GetWindowTextA(window, caption, sizeof caption);
      GetDlgItemTextA(window, 0xFFFF, text, sizeof text);
      const LRESULT defId = SendMessageA(window, DM_GETDEFID, 0, 0);
      const int answer = HIWORD(defId) == DC_HASDEFID ? LOWORD(defId) : IDOK;
      std::fprintf(stderr, "[msgbox] %s: %s -> %d\n", caption, text, answer);
      std::fflush(stderr);
      PostMessageA(window, WM_COMMAND, MAKEWPARAM(answer, BN_CLICKED), 0);
    }
  }
  return CallNextHookEx(theHook, code, wParam, lParam);
}

int Usage() {
  std::fprintf(stderr, "usage: setup-host [--watch FILE]... DLL [COMMAND...]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> watches;
  int arg = 1;
  while (arg < argc && std::strcmp(argv[arg], "--watch") == 0) {
    if (arg + 1 >= argc) return Usage();
    watches.push_back(ResolveWatch(argv[arg + 1]));
    arg += 2;
  }
  if (arg >= argc) return Usage();
  const char* dllPath = argv[arg++];

  theHook = SetWindowsHookExA(WH_CBT, AnswerDialogs, nullptr, GetCurrentThreadId());

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

  for (; arg < argc; ++arg) {
    const int result = action(argv[arg]);
    std::fflush(stdout);
    std::fprintf(stderr, "Action returned %d\n", result);
    std::fflush(stderr);
  }

  ReportWatches("before unload", watches);
  FreeLibrary(library);
  ReportWatches("unloaded", watches);
  if (theHook != nullptr) UnhookWindowsHookEx(theHook);
  return 0;
}
