// Command line of setup-run.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/winapi.h"

namespace setuprun {

class Watcher;

// Exit codes of setup-run.
constexpr int kExitOk = 0;           // the runner worked, whatever Action answered
constexpr int kExitLoadFailed = 1;   // the library refused to load
constexpr int kExitUsage = 2;        // bad command line or unreadable input file
constexpr int kExitMachine = 3;      // the simulated machine could not be booted or saved
constexpr int kExitNotCompiled = 4;  // --check: the script does not compile
constexpr int kExitMatrix = 5;       // --matrix: results differ (between profiles or from --expect)

// The version of the tools and the library.
constexpr const char* kVersion = "1.0.1";

// A host file copied into the simulated machine before the library loads.
struct PutFile {
  std::string hostPath;
  std::string windowsPath;  // absolute, or relative to the machine's current directory
};

// A failure injected into the simulated machine.
struct Fault {
  std::string op;
  plat::DWORD error = 0;
  int skip = 0;
};

// A device node present on the machine before the run.
struct DeviceSpec {
  std::string instanceId;
  std::vector<std::string> hardwareIds;
};

// A registry key whose security descriptor restricts access (--deny-key,
// --read-only-key).
struct KeyRestriction {
  plat::HKEY root = nullptr;
  std::string path;
  bool readOnly = false;  // read access only; otherwise no access at all
};

// A queued message-box answer, optionally aimed at the boxes of one caption.
struct Answer {
  int button = 0;
  std::optional<std::string> caption;
};

// A named Windows installation: version, platform, system directory, locale,
// and whether it is 64-bit (x64) Windows.
struct WindowsProfile {
  const char* name;
  plat::DWORD major, minor, build, platform;
  const char* servicePack;
  const char* systemDirectory;
  bool amd64;
};
// The profiles by name ("98", "2000", "xp", "vista", "7", "8", "10", "11", and
// the 64-bit "xp-64", "vista-64", "7-64", "8-64", "10-64", "11-64").
const std::vector<WindowsProfile>& Profiles();
const WindowsProfile* FindProfile(const std::string& name);

struct Options {
  std::string script;                 // host path of the script (empty with --module)
  std::string module;                 // --module: a module built by setup-pack
  std::vector<std::string> commands;  // one Action call each; none = one call with ""
  std::vector<std::string> addFiles;  // --add: packed beside the script
  std::vector<PutFile> putFiles;      // --put
  std::string machineDir;             // --machine: persistent state directory
  bool check = false;                 // --check: compile only

  // Profile overrides.
  std::optional<plat::DWORD> osMajor, osMinor, osPlatform;
  std::optional<plat::LCID> lcid;
  std::optional<std::string> sysdir;
  std::optional<std::string> currentDir;
  bool noNewdev = false;
  bool noSetupapi = false;
  bool driverReboot = false;
  bool amd64 = false;

  // --profile: a named installation, applied before the single overrides above.
  const WindowsProfile* profile = nullptr;

  // --matrix: the profiles to run in turn, and the result every call must give.
  std::vector<const WindowsProfile*> matrix;
  std::optional<int> expect;

  // Per-run settings.
  bool wow64 = false;
  std::vector<Answer> answers;
  bool fastSleep = false;
  std::optional<plat::SYSTEMTIME> fixedTime;
  std::string keepExpanded;  // --keep-expanded: host file for the expanded script
  std::vector<Fault> faults;
  std::vector<std::pair<std::string, std::string>> missingEntries;  // library, entry point
  std::vector<DeviceSpec> devices;
  std::vector<KeyRestriction> keyRestrictions;  // saved with --machine
  std::uint32_t stepLimit = 0;
  std::uint32_t passLimit = 0;

  // Trace and coverage.
  enum class Trace { Off, Calls, Statements };
  Trace trace = Trace::Off;     // --trace, --trace=statements
  std::string coverageFile;     // --coverage FILE: the lcov tracefile to write
  bool coverageAppend = false;  // --coverage-append: add to the counts FILE holds
  Watcher* watcher = nullptr;   // installed in the library for trace or coverage (main)

  // Registry files and change sets.
  std::vector<std::string> importRegs;  // --import-reg: merged into the machine before the run
  std::string exportReg;                // --export-reg: host file for the registry after the run
  std::vector<std::string> exportKeys;  // --export-key: only these keys (and below) are exported
  bool diff = false;                    // --diff: print what the run changed
  std::string diffFile;                 // --diff-file: ... into this host file
  bool show = false;                    // --show: print the machine's state, run nothing
};

// Parses argv. Answers -1 when the run should go on, otherwise the exit code
// (0 after --help, kExitUsage after an error; messages already printed).
int ParseOptions(int argc, char** argv, Options* options);

// Value parsers, exposed for the command line's checks.
std::optional<plat::SYSTEMTIME> ParseTime(const std::string& text);
std::optional<plat::DWORD> ParseNumber(const std::string& text);
// A button name ("ok", "cancel", "abort", "retry", "ignore", "yes", "no",
// "tryagain", "continue") or its number, optionally behind "CAPTION=";
// none when it names no message-box button.
std::optional<Answer> ParseAnswer(const std::string& text);
// The name of a button number ("no" for 7).
std::string ButtonName(int button);

// The clock of --fixed-time: 2008-05-07 09:04:00 UTC.
plat::SYSTEMTIME DefaultFixedTime();

}  // namespace setuprun
