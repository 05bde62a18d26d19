// Command line of setup-run: CLI11 definitions and the value parsers.
#include "options.h"

#include <CLI/CLI.hpp>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <tuple>

#include "base/global.h"
#include "builtins/table.h"
#include "platform/sim/machine.h"
#include "platform/sim/view.h"
#include "script/store/symbols.h"

namespace setuprun {

namespace {

constexpr const char* kDescription =
    "Runs a setup script through the library's whole life cycle on a simulated machine:\n"
    "packs SCRIPT (and every --add FILE), loads the library, calls Action once per COMMAND\n"
    "(\"\" when none is given) and unloads it. Standard output carries exactly what the\n"
    "library prints; standard error the machine's event log and one line\n"
    "\"Action returned N\" per call.\n"
    "Exit status: 0 the run worked (whatever Action answered), 1 the library refused to\n"
    "load, 2 usage error, 3 the machine state could not be used, 4 --check: the script\n"
    "does not compile, 5 --matrix: the results differ.";

constexpr const char* kUsage =
    "usage: setup-run [options] SCRIPT [COMMAND...]\n"
    "       setup-run [options] --module FILE [COMMAND...]\n"
    "       setup-run --check [options] SCRIPT [COMMAND]\n"
    "       setup-run --matrix NAME,NAME... [--expect N] [options] SCRIPT [COMMAND...]\n"
    "       setup-run --show [options]\n"
    "Run 'setup-run --help' for the options.\n";

bool StartsWith(const std::string& text, const char* prefix) {
  return text.rfind(prefix, 0) == 0;
}

// "ID=HWID[,HWID...]"
std::optional<DeviceSpec> ParseDevice(const std::string& text) {
  std::size_t eq = text.find('=');
  if (eq == std::string::npos || eq == 0 || eq + 1 == text.size()) return std::nullopt;
  DeviceSpec device;
  device.instanceId = text.substr(0, eq);
  std::size_t start = eq + 1;
  while (start <= text.size()) {
    std::size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    if (comma == start) return std::nullopt;
    device.hardwareIds.push_back(text.substr(start, comma - start));
    start = comma + 1;
  }
  return device;
}

// "OP:CODE[:SKIP]"
std::optional<Fault> ParseFault(const std::string& text) {
  std::size_t first = text.find(':');
  if (first == std::string::npos || first == 0) return std::nullopt;
  Fault fault;
  fault.op = text.substr(0, first);
  std::size_t second = text.find(':', first + 1);
  std::optional<plat::DWORD> code = ParseNumber(
      text.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1));
  if (!code) return std::nullopt;
  fault.error = *code;
  if (second != std::string::npos) {
    std::optional<plat::DWORD> skip = ParseNumber(text.substr(second + 1));
    if (!skip || *skip > 1'000'000) return std::nullopt;
    fault.skip = static_cast<int>(*skip);
  }
  return fault;
}

// "MAJOR.MINOR" (NT platform) or "MAJOR.MINOR.PLATFORM".
bool ParseOs(const std::string& text, Options* options) {
  std::vector<plat::DWORD> parts;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t dot = text.find('.', start);
    if (dot == std::string::npos) dot = text.size();
    std::string part = text.substr(start, dot - start);
    if (part.empty() || part.find_first_not_of("0123456789") != std::string::npos ||
        part.size() > 9) {
      return false;
    }
    parts.push_back(static_cast<plat::DWORD>(std::stoul(part)));
    start = dot + 1;
  }
  if (parts.size() != 2 && parts.size() != 3) return false;
  options->osMajor = parts[0];
  options->osMinor = parts[1];
  options->osPlatform = parts.size() == 3 ? parts[2] : plat::VER_PLATFORM_WIN32_NT;
  return true;
}

// "OpA, OpB, ..." for the --fail help.
std::string OperationNames() {
  std::string names;
  for (int i = 0;; ++i) {
    const char* name = sim::OpName(static_cast<sim::Op>(i));
    if (std::string(name) == "?") break;
    if (!names.empty()) names += ", ";
    names += name;
  }
  return names;
}

std::string ProfileNames() {
  std::string names;
  for (const WindowsProfile& profile : Profiles()) {
    if (!names.empty()) names += ", ";
    names += profile.name;
  }
  return names;
}

const char* TypeWord(setup::ValueType type) {
  return type == setup::ValueType::Num ? "num" : "string";
}

// The built-in table as the library holds it: one line per built-in.
void PrintBuiltins() {
  for (std::int32_t row = 0; row < setup::theGlobal.m_nBuiltinCount; ++row) {
    const setup::BuiltinEntry& entry = setup::theGlobal.m_Builtins[row];
    std::string line = std::string(TypeWord(entry.nRetType)) + " " + entry.szName + "(";
    for (std::int32_t i = 0; i < entry.nParamCount; ++i) {
      if (i > 0) line += ", ";
      line += TypeWord(entry.pParams[i].m_nType);
    }
    std::cout << line << ")\n";
  }
}

}  // namespace

plat::SYSTEMTIME DefaultFixedTime() {
  plat::SYSTEMTIME time{};
  time.wYear = 2008;
  time.wMonth = 5;
  time.wDayOfWeek = 3;  // a Wednesday
  time.wDay = 7;
  time.wHour = 9;
  time.wMinute = 4;
  return time;
}

std::optional<plat::DWORD> ParseNumber(const std::string& text) {
  if (text.empty()) return std::nullopt;
  const bool hex = StartsWith(text, "0x") || StartsWith(text, "0X");
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty() || digits.size() > (hex ? 8u : 10u)) return std::nullopt;
  if (digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") !=
      std::string::npos) {
    return std::nullopt;
  }
  unsigned long long value = std::stoull(digits, nullptr, hex ? 16 : 10);
  if (value > 0xFFFFFFFFull) return std::nullopt;
  return static_cast<plat::DWORD>(value);
}

namespace {

struct ButtonNameRow {
  const char* name;
  int button;
};
constexpr ButtonNameRow kButtonNames[] = {
    {"ok", 1},  {"cancel", 2}, {"abort", 3},     {"retry", 4},     {"ignore", 5},
    {"yes", 6}, {"no", 7},     {"tryagain", 10}, {"continue", 11},
};

}  // namespace

std::string ButtonName(int button) {
  for (const ButtonNameRow& row : kButtonNames) {
    if (row.button == button) return row.name;
  }
  return std::to_string(button);
}

std::optional<Answer> ParseAnswer(const std::string& text) {
  Answer answer;
  std::string button = text;
  const std::size_t eq = text.rfind('=');
  if (eq != std::string::npos) {
    if (eq == 0) return std::nullopt;
    answer.caption = text.substr(0, eq);
    button = text.substr(eq + 1);
  }
  for (const ButtonNameRow& row : kButtonNames) {
    if (button == row.name || button == std::to_string(row.button)) {
      answer.button = row.button;
      return answer;
    }
  }
  return std::nullopt;
}

const std::vector<WindowsProfile>& Profiles() {
  // 32-bit installations, then 64-bit (x64) ones; Windows XP x64 is the 5.2 kernel.
  static const std::vector<WindowsProfile> kProfiles = {
      {"98", 4, 10, 2222, plat::VER_PLATFORM_WIN32_WINDOWS, "", "C:\\WINDOWS\\SYSTEM", false},
      {"2000", 5, 0, 2195, plat::VER_PLATFORM_WIN32_NT, "Service Pack 4", "C:\\WINNT\\system32",
       false},
      {"xp", 5, 1, 2600, plat::VER_PLATFORM_WIN32_NT, "Service Pack 3", "C:\\WINDOWS\\system32",
       false},
      {"vista", 6, 0, 6002, plat::VER_PLATFORM_WIN32_NT, "Service Pack 2", "C:\\Windows\\system32",
       false},
      {"7", 6, 1, 7601, plat::VER_PLATFORM_WIN32_NT, "Service Pack 1", "C:\\Windows\\system32",
       false},
      {"8", 6, 2, 9200, plat::VER_PLATFORM_WIN32_NT, "", "C:\\Windows\\system32", false},
      {"10", 10, 0, 19045, plat::VER_PLATFORM_WIN32_NT, "", "C:\\Windows\\system32", false},
      {"11", 10, 0, 22631, plat::VER_PLATFORM_WIN32_NT, "", "C:\\Windows\\system32", false},
      {"xp-64", 5, 2, 3790, plat::VER_PLATFORM_WIN32_NT, "Service Pack 2", "C:\\WINDOWS\\system32",
       true},
      {"vista-64", 6, 0, 6002, plat::VER_PLATFORM_WIN32_NT, "Service Pack 2",
       "C:\\Windows\\system32", true},
      {"7-64", 6, 1, 7601, plat::VER_PLATFORM_WIN32_NT, "Service Pack 1", "C:\\Windows\\system32",
       true},
      {"8-64", 6, 2, 9200, plat::VER_PLATFORM_WIN32_NT, "", "C:\\Windows\\system32", true},
      {"10-64", 10, 0, 19045, plat::VER_PLATFORM_WIN32_NT, "", "C:\\Windows\\system32", true},
      {"11-64", 10, 0, 22631, plat::VER_PLATFORM_WIN32_NT, "", "C:\\Windows\\system32", true},
  };
  return kProfiles;
}

const WindowsProfile* FindProfile(const std::string& name) {
  for (const WindowsProfile& profile : Profiles()) {
    if (name == profile.name) return &profile;
  }
  return nullptr;
}

// "YYYY-MM-DD HH:MM[:SS]" in UTC.
std::optional<plat::SYSTEMTIME> ParseTime(const std::string& text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  char tail = 0;
  int fields = std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%c", &year, &month, &day, &hour,
                           &minute, &second, &tail);
  if (fields != 5 && fields != 6) return std::nullopt;
  static const int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year < 1601 || year > 9999 || month < 1 || month > 12 || day < 1 || day > kDays[month - 1] ||
      hour > 23 || minute > 59 || second > 59 || hour < 0 || minute < 0 || second < 0) {
    return std::nullopt;
  }
  // Day of the week (Sakamoto's method; 0 = Sunday).
  static const int kOffsets[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  int y = month < 3 ? year - 1 : year;
  int weekday = (y + y / 4 - y / 100 + y / 400 + kOffsets[month - 1] + day) % 7;
  plat::SYSTEMTIME time{};
  time.wYear = static_cast<plat::WORD>(year);
  time.wMonth = static_cast<plat::WORD>(month);
  time.wDayOfWeek = static_cast<plat::WORD>(weekday);
  time.wDay = static_cast<plat::WORD>(day);
  time.wHour = static_cast<plat::WORD>(hour);
  time.wMinute = static_cast<plat::WORD>(minute);
  time.wSecond = static_cast<plat::WORD>(second);
  return time;
}

int ParseOptions(int argc, char** argv, Options* options) {
  CLI::App app(kDescription, "setup-run");
  app.get_formatter()->column_width(34);

  std::vector<std::string> positionals;
  std::string os;
  std::string lcid;
  std::vector<std::string> answers;
  std::vector<std::string> puts;
  std::vector<std::string> faults;
  std::vector<std::string> missing;
  std::vector<std::string> devices;
  std::vector<std::string> deniedKeys;
  std::vector<std::string> readOnlyKeys;
  bool fixedTime = false;
  std::string time;

  app.add_option("SCRIPT COMMAND", positionals,
                 "The script (left out with --module), then one Action command string per "
                 "argument, e.g. \"/install /silent\"");
  app.add_option("--add", options->addFiles, "Pack FILE beside the script (under its base name)")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_option("--put", puts,
                 "Copy a host FILE into the machine before loading (at WINPATH, or at FILE's "
                 "relative path under the machine's current directory)")
      ->type_name("FILE[=WINPATH]")
      ->allow_extra_args(false);
  app.add_option("--module", options->module, "Run a module built by setup-pack instead of SCRIPT")
      ->type_name("FILE");
  app.add_flag("--check", options->check,
               "Compile SCRIPT only and print the compiler's messages as Action would");
  app.add_option("--machine", options->machineDir,
                 "Keep the machine's state in DIR (created with defaults when missing)")
      ->type_name("DIR");
  app.add_option("--os", os, "Windows version, NT platform unless PLATFORM is given")
      ->type_name("MAJOR.MINOR[.PLATFORM]");
  app.add_option("--lcid", lcid, "System default locale, hexadecimal (e.g. 804)")->type_name("HEX");
  app.add_option("--sysdir", options->sysdir, "System directory (e.g. C:\\WINNT\\system32)")
      ->type_name("PATH");
  app.add_option("--cwd", options->currentDir, "Current directory of the simulated process")
      ->type_name("PATH");
  app.add_flag("--no-newdev", options->noNewdev, "Remove newdev.dll from the system directory");
  app.add_flag("--no-setupapi", options->noSetupapi,
               "Remove SetupApi.dll from the system directory");
  app.add_flag("--driver-reboot", options->driverReboot,
               "Driver updates report that a restart is required");
  app.add_flag("--amd64", options->amd64, "64-bit Windows (x64) running the 64-bit DLL");
  app.add_flag("--wow64", options->wow64,
               "64-bit Windows (x64) running the 32-bit DLL: device installation is refused");
  app.add_option("--answer", answers,
                 "Queue a message-box answer: ok, cancel, abort, retry, ignore, yes, no, "
                 "tryagain, continue (or 1-7, 10, 11), for any box or for the boxes titled "
                 "CAPTION; a box passes over answers it has no button for; repeatable")
      ->type_name("[CAPTION=]BUTTON")
      ->allow_extra_args(false);
  app.add_flag("--fast-sleep", options->fastSleep, "Log sleeps instead of sleeping");
  app.add_flag("--fixed-time", fixedTime,
               "Pin the clock to 2008-05-07 09:04 UTC (also env SETUP_FIXED_TIME=1)");
  app.add_option("--time", time, "Pin the clock to this UTC time")
      ->type_name("\"YYYY-MM-DD HH:MM[:SS]\"");
  app.add_option("--keep-expanded", options->keepExpanded,
                 "Copy the expanded script to FILE before unloading")
      ->type_name("FILE");
  app.add_option("--fail", faults,
                 "Make the machine's operation OP fail with error CODE, after SKIP successful "
                 "calls; repeatable. OP is one of: " +
                     OperationNames())
      ->type_name("OP:CODE[:SKIP]")
      ->allow_extra_args(false);
  app.add_option("--no-entry", missing, "Hide an entry point of SetupApi.dll or newdev.dll")
      ->type_name("LIBRARY:NAME")
      ->allow_extra_args(false);
  app.add_option("--device", devices, "Add a device node with these hardware ids; repeatable")
      ->type_name("ID=HWID[,HWID...]")
      ->allow_extra_args(false);
  app.add_option("--deny-key", deniedKeys,
                 "Give a registry key (created when missing) a security descriptor that denies "
                 "all access but changing it; repeatable")
      ->type_name("ROOT\\KEY")
      ->allow_extra_args(false);
  app.add_option("--read-only-key", readOnlyKeys,
                 "Give a registry key (created when missing) a security descriptor that grants "
                 "read access only; repeatable")
      ->type_name("ROOT\\KEY")
      ->allow_extra_args(false);
  app.add_option("--step-limit", options->stepLimit,
                 "Fail the run after N evaluation steps (0: no limit)")
      ->type_name("N");
  app.add_option("--pass-limit", options->passLimit,
                 "Fail the run after N loop passes and script calls (0: no limit)")
      ->type_name("N");
  std::string trace;
  // A flag that takes an optional value: "true" for --trace alone.
  app.add_flag("--trace", trace,
               "Trace built-in calls and script calls on standard error; --trace=statements "
               "adds every statement");
  app.add_option("--coverage", options->coverageFile,
                 "Write line, branch and function coverage of the script and its included files "
                 "as an lcov tracefile")
      ->type_name("FILE");
  app.add_flag("--coverage-append", options->coverageAppend,
               "With --coverage: add this run's counts to those FILE holds");
  app.add_option("--import-reg", options->importRegs,
                 "Merge a registry export (.reg) into the machine before the run; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  app.add_option("--export-reg", options->exportReg,
                 "Write the machine's registry after the run to FILE (.reg, UTF-16LE)")
      ->type_name("FILE");
  app.add_option("--export-key", options->exportKeys,
                 "Export only this key and what lies below it; repeatable")
      ->type_name("KEY")
      ->allow_extra_args(false);
  app.add_flag("--diff", options->diff,
               "Print what the run changed (registry, files, services) on standard error");
  app.add_option("--diff-file", options->diffFile, "Write the changes into FILE instead")
      ->type_name("FILE");
  app.add_flag("--show", options->show,
               "Print the machine's registry, files and services; run nothing");

  // ---- Authoring options: version, built-in table, Windows profiles, matrix ----
  bool version = false;
  bool listBuiltins = false;
  std::string profile;
  std::string matrix;
  std::string expect;
  app.add_flag("--version", version, "Print the version and exit");
  app.add_flag("--list-builtins", listBuiltins,
               "Print the built-in functions (name, parameters, result) and exit");
  app.add_option("--profile", profile,
                 "Windows installation: 98, 2000, xp, vista, 7, 8, 10, 11, or 64-bit (x64) "
                 "xp-64, vista-64, 7-64, 8-64, 10-64, 11-64 running the 64-bit DLL (add --wow64 "
                 "for the 32-bit DLL); sets version, platform, system directory and locale "
                 "(--os, --sysdir, --lcid override)")
      ->type_name("NAME");
  app.add_option("--matrix", matrix,
                 "Run the COMMANDs on each profile from the same starting machine and print one "
                 "summary row per profile (with --wow64: the 32-bit DLL on every profile)")
      ->type_name("NAME,NAME...");
  app.add_option("--expect", expect, "With --matrix: the result every call must give")
      ->type_name("N");

  auto usageError = [](const std::string& message) {
    std::cerr << "setup-run: " << message << "\n" << kUsage;
    return kExitUsage;
  };

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return kExitOk;
  } catch (const CLI::ParseError& error) {
    return usageError(error.what());
  }

  if (version) {
    std::cout << "setup-run " << kVersion << "\n";
    return kExitOk;
  }
  if (listBuiltins) {
    PrintBuiltins();
    return kExitOk;
  }
  if (!profile.empty()) {
    options->profile = FindProfile(profile);
    if (!options->profile)
      return usageError("--profile wants one of " + ProfileNames() + ", not '" + profile + "'");
  }
  if (!matrix.empty()) {
    std::size_t start = 0;
    while (start <= matrix.size()) {
      std::size_t comma = matrix.find(',', start);
      if (comma == std::string::npos) comma = matrix.size();
      const std::string name = matrix.substr(start, comma - start);
      const WindowsProfile* found = FindProfile(name);
      if (!found)
        return usageError("--matrix wants profiles among " + ProfileNames() + ", not '" + name +
                          "'");
      options->matrix.push_back(found);
      start = comma + 1;
    }
    if (options->profile) return usageError("--matrix runs its own profiles; leave out --profile");
    if (options->amd64) {
      return usageError(
          "--matrix runs 64-bit Windows on the -64 profiles (e.g. 7-64); leave out --amd64");
    }
    if (options->check)
      return usageError("--matrix runs the COMMANDs; it cannot be combined with --check");
    if (!options->keepExpanded.empty()) {
      return usageError(
          "--keep-expanded keeps one run's script; it cannot be combined with --matrix");
    }
  }
  if (!trace.empty()) {
    if (trace == "true") {
      options->trace = Options::Trace::Calls;
    } else if (trace == "statements") {
      options->trace = Options::Trace::Statements;
    } else {
      return usageError("--trace wants nothing or =statements, not '" + trace + "'");
    }
  }
  if (options->coverageAppend && options->coverageFile.empty()) {
    return usageError("--coverage-append adds to the file of --coverage FILE; give --coverage");
  }
  const bool watching = options->trace != Options::Trace::Off || !options->coverageFile.empty();
  if (watching && (options->check || options->show)) {
    return usageError("--trace and --coverage watch a run; they cannot be combined with " +
                      std::string(options->check ? "--check" : "--show"));
  }
  if (options->trace != Options::Trace::Off && !options->matrix.empty()) {
    return usageError(
        "--trace follows one run; it cannot be combined with --matrix (--coverage can)");
  }
  if (!expect.empty()) {
    if (options->matrix.empty()) return usageError("--expect goes with --matrix");
    char* end = nullptr;
    const long value = std::strtol(expect.c_str(), &end, 10);
    if (end == expect.c_str() || *end != '\0' || value < INT32_MIN || value > INT32_MAX) {
      return usageError("--expect wants a number, not '" + expect + "'");
    }
    options->expect = static_cast<int>(value);
  }

  if (!os.empty() && !ParseOs(os, options)) {
    return usageError("--os wants MAJOR.MINOR or MAJOR.MINOR.PLATFORM, not '" + os + "'");
  }
  if (!lcid.empty()) {
    std::optional<plat::DWORD> value =
        ParseNumber(StartsWith(lcid, "0x") || StartsWith(lcid, "0X") ? lcid : "0x" + lcid);
    if (!value) return usageError("--lcid wants a hexadecimal locale id, not '" + lcid + "'");
    options->lcid = *value;
  }
  for (const std::string& answer : answers) {
    std::optional<Answer> value = ParseAnswer(answer);
    if (!value) {
      return usageError(
          "--answer wants [CAPTION=]BUTTON with a button of ok, cancel, abort, "
          "retry, ignore, yes, no, tryagain, continue (or 1-7, 10, 11), not '" +
          answer + "'");
    }
    options->answers.push_back(*value);
  }
  for (const std::string& put : puts) {
    std::size_t eq = put.find('=');
    PutFile file;
    file.hostPath = put.substr(0, eq);
    if (eq != std::string::npos) file.windowsPath = put.substr(eq + 1);
    if (file.hostPath.empty() || (eq != std::string::npos && file.windowsPath.empty())) {
      return usageError("--put wants FILE or FILE=WINPATH, not '" + put + "'");
    }
    options->putFiles.push_back(file);
  }
  for (const std::string& text : faults) {
    std::optional<Fault> fault = ParseFault(text);
    if (!fault) return usageError("--fail wants OP:CODE[:SKIP], not '" + text + "'");
    options->faults.push_back(*fault);
  }
  for (const std::string& text : missing) {
    std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) {
      return usageError("--no-entry wants LIBRARY:NAME, not '" + text + "'");
    }
    options->missingEntries.emplace_back(text.substr(0, colon), text.substr(colon + 1));
  }
  for (const std::string& text : devices) {
    std::optional<DeviceSpec> device = ParseDevice(text);
    if (!device) return usageError("--device wants ID=HWID[,HWID...], not '" + text + "'");
    options->devices.push_back(*device);
  }

  for (const auto& [list, readOnly, name] : {std::tuple(&deniedKeys, false, "--deny-key"),
                                             std::tuple(&readOnlyKeys, true, "--read-only-key")}) {
    for (const std::string& text : *list) {
      KeyRestriction restriction;
      restriction.readOnly = readOnly;
      if (!sim::SplitKeyPath(text, &restriction.root, &restriction.path) ||
          restriction.path.empty()) {
        return usageError(std::string(name) +
                          " wants ROOT\\KEY (ROOT: HKLM, HKCU, HKCR, HKU "
                          "or their long names), not '" +
                          text + "'");
      }
      options->keyRestrictions.push_back(restriction);
    }
  }

  const char* env = std::getenv("SETUP_FIXED_TIME");
  if (!time.empty()) {
    options->fixedTime = ParseTime(time);
    if (!options->fixedTime) {
      return usageError("--time wants \"YYYY-MM-DD HH:MM[:SS]\", not '" + time + "'");
    }
  } else if (fixedTime) {
    options->fixedTime = DefaultFixedTime();
  } else if (env != nullptr && *env != '\0' && std::string(env) != "0") {
    options->fixedTime = std::string(env) == "1" ? DefaultFixedTime() : ParseTime(env);
    if (!options->fixedTime) {
      return usageError("SETUP_FIXED_TIME wants 1 or \"YYYY-MM-DD HH:MM[:SS]\", not '" +
                        std::string(env) + "'");
    }
  }

  if (!options->diffFile.empty()) options->diff = true;
  if (!options->exportKeys.empty() && options->exportReg.empty()) {
    return usageError("--export-key chooses what --export-reg writes; give --export-reg FILE");
  }
  if (options->show) {
    if (!positionals.empty())
      return usageError("--show runs nothing; it takes no SCRIPT or COMMAND");
    if (!options->module.empty() || options->check || !options->addFiles.empty() || options->diff ||
        !options->keepExpanded.empty()) {
      return usageError(
          "--show runs nothing; it cannot be combined with --module, --check, --add, --diff or "
          "--keep-expanded");
    }
    return -1;
  }

  std::size_t first = 0;
  if (options->module.empty()) {
    if (positionals.empty()) return usageError("no SCRIPT given");
    options->script = positionals[0];
    first = 1;
  } else if (options->check) {
    return usageError("--check compiles a SCRIPT; it cannot be combined with --module");
  } else if (!options->addFiles.empty()) {
    return usageError("--add packs files beside SCRIPT; a --module carries its own package");
  }
  options->commands.assign(positionals.begin() + static_cast<std::ptrdiff_t>(first),
                           positionals.end());
  if (options->check && options->commands.size() > 1) {
    return usageError("--check compiles for one COMMAND at most");
  }
  return -1;
}

}  // namespace setuprun
