// Command line of setup-run.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/winapi.h"

namespace setuprun {

// Exit codes of setup-run.
constexpr int kExitOk = 0;          // the runner worked, whatever Action answered
constexpr int kExitLoadFailed = 1;  // the library refused to load
constexpr int kExitUsage = 2;       // bad command line or unreadable input file
constexpr int kExitMachine = 3;     // the simulated machine could not be booted or saved

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

  // Per-run settings.
  bool wow64 = false;
  std::vector<int> answers;
  bool fastSleep = false;
  std::optional<plat::SYSTEMTIME> fixedTime;
  std::string keepExpanded;  // --keep-expanded: host file for the expanded script
  std::vector<Fault> faults;
  std::vector<std::pair<std::string, std::string>> missingEntries;  // library, entry point
  std::vector<DeviceSpec> devices;
  std::uint32_t stepLimit = 0;
};

// Parses argv. Answers -1 when the run should go on, otherwise the exit code
// (0 after --help, kExitUsage after an error; messages already printed).
int ParseOptions(int argc, char** argv, Options* options);

// Value parsers, exposed for the command line's checks.
std::optional<plat::SYSTEMTIME> ParseTime(const std::string& text);
std::optional<plat::DWORD> ParseNumber(const std::string& text);
// "yes", "no", "ok", "cancel" or a number; none when not understood.
std::optional<int> ParseAnswer(const std::string& text);

// The clock of --fixed-time: 2008-05-07 09:04:00 UTC.
plat::SYSTEMTIME DefaultFixedTime();

}  // namespace setuprun
