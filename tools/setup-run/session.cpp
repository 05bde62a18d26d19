// One run of the library's life cycle on the simulated machine:
// pack -> boot -> attach -> Action per command -> detach -> shut down.
#include "session.h"

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "base/global.h"
#include "common/package_writer.h"
#include "diagnose.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"
#include "script/front/compile.h"

namespace setuprun {

namespace {

namespace fs = std::filesystem;

// Any non-null value serves: the machine answers the module path for it.
plat::HMODULE const kModuleHandle = reinterpret_cast<plat::HMODULE>(0x10000000);

void Complain(const std::string& message) {
  std::fprintf(stderr, "setup-run: %s\n", message.c_str());
  std::fflush(stderr);
}

bool ReadHostFile(const std::string& path, std::string* bytes) {
  std::error_code ec;
  if (fs::is_directory(path, ec)) return false;
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

// The Windows path of a --put file without an explicit destination: the
// relative path as given (so "inc/a.inc" lands in <current dir>\inc\a.inc),
// or the base name for absolute paths and paths that climb with "..".
std::string DefaultPutPath(const std::string& hostPath) {
  fs::path path(hostPath);
  bool climbs = false;
  for (const fs::path& part : path) climbs = climbs || part == "..";
  std::string windows =
      path.is_absolute() || climbs ? path.filename().string() : path.lexically_normal().string();
  for (char& c : windows) {
    if (c == '/') c = '\\';
  }
  return windows;
}

// The parent of a Windows path ("C:\WINDOWS" for "C:\WINDOWS\system32").
std::string WindowsParent(const std::string& path) {
  std::size_t slash = path.find_last_of('\\');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// Creates a Windows directory and its missing parents on the machine.
void MakeDirectories(const std::string& path) {
  for (std::size_t at = path.find('\\', 3); at != std::string::npos; at = path.find('\\', at + 1)) {
    plat::CreateDirectoryA(path.substr(0, at).c_str(), nullptr);
  }
  plat::CreateDirectoryA(path.c_str(), nullptr);
}

// Moves the system directory: the Windows tree of the new location is created
// and the device libraries follow, so that only what the options remove is gone.
void MoveSystemDirectory(const std::string& newDir) {
  sim::Profile& profile = sim::GetProfile();
  const std::string oldDir = profile.systemDirectory;
  if (newDir == oldDir) return;
  const std::string windows = WindowsParent(newDir);
  MakeDirectories(newDir);
  if (!windows.empty()) {
    MakeDirectories(newDir + "\\drivers");
    MakeDirectories(windows + "\\inf");
  }
  for (const char* library : {"SetupApi.dll", "newdev.dll"}) {
    const std::string target = newDir + "\\" + library;
    if (plat::GetFileAttributesA(target.c_str()) != plat::INVALID_FILE_ATTRIBUTES) continue;
    if (std::optional<std::string> bytes = sim::GetFile(oldDir + "\\" + library)) {
      sim::PutFile(target, *bytes);
    }
  }
  profile.systemDirectory = newDir;
}

// Applies the machine-level options: profile overrides (saved with a
// --machine), files, devices, and the per-run settings.
bool PrepareMachine(const Options& options) {
  sim::Profile& profile = sim::GetProfile();
  if (options.profile) {
    profile.majorVersion = options.profile->major;
    profile.minorVersion = options.profile->minor;
    profile.buildNumber = options.profile->build;
    profile.platformId = options.profile->platform;
    profile.servicePack = options.profile->servicePack;
    profile.locale = 0x0409;
    if (!options.sysdir) MoveSystemDirectory(options.profile->systemDirectory);
  }
  if (options.osMajor) {
    profile.majorVersion = *options.osMajor;
    profile.minorVersion = *options.osMinor;
    profile.platformId = *options.osPlatform;
  }
  if (options.lcid) profile.locale = *options.lcid;
  if (options.currentDir) profile.currentDirectory = *options.currentDir;
  if (options.driverReboot) profile.driverUpdateNeedsReboot = true;
  if (options.sysdir) MoveSystemDirectory(*options.sysdir);
  if (options.noSetupapi) {
    plat::DeleteFileA((profile.systemDirectory + "\\SetupApi.dll").c_str());
  }
  if (options.noNewdev) plat::DeleteFileA((profile.systemDirectory + "\\newdev.dll").c_str());

  for (const PutFile& put : options.putFiles) {
    std::string bytes;
    if (!ReadHostFile(put.hostPath, &bytes)) {
      Complain("cannot read '" + put.hostPath + "'");
      return false;
    }
    const std::string target =
        put.windowsPath.empty() ? DefaultPutPath(put.hostPath) : put.windowsPath;
    if (!sim::PutFile(target, bytes)) {
      Complain("cannot put '" + put.hostPath + "' at '" + target + "' on the machine");
      return false;
    }
  }
  for (const DeviceSpec& wanted : options.devices) {
    sim::Device device;
    device.instanceId = wanted.instanceId;
    device.hardwareIds = wanted.hardwareIds;
    if (!sim::AddDevice(device)) {
      Complain("cannot add device '" + wanted.instanceId + "' (already present?)");
      return false;
    }
  }

  for (const Answer& answer : options.answers) sim::QueueAnswer({answer.button, answer.caption});
  sim::SetFastSleep(options.fastSleep);
  sim::SetFixedTime(options.fixedTime);
  for (const auto& [library, name] : options.missingEntries) {
    sim::RemoveEntryPoint(library, name);
  }
  for (const Fault& fault : options.faults) {
    std::optional<sim::Op> op = sim::OpFromName(fault.op);
    if (!op) {
      std::string names;
      for (int i = 0; std::string(sim::OpName(static_cast<sim::Op>(i))) != "?"; ++i) {
        names += std::string(names.empty() ? "" : ", ") + sim::OpName(static_cast<sim::Op>(i));
      }
      Complain("--fail: unknown operation '" + fault.op + "'; the operations are: " + names);
      return false;
    }
    sim::FailNext(*op, fault.error, fault.skip);
  }
  return true;
}

// The bytes of the module: a --module file as it is, or a package of the
// script and the --add files.
bool BuildModule(const Options& options, std::vector<char>* module) {
  std::string bytes;
  if (!options.module.empty()) {
    if (!ReadHostFile(options.module, &bytes)) {
      Complain("cannot read module '" + options.module + "'");
      return false;
    }
    module->assign(bytes.begin(), bytes.end());
    return true;
  }
  std::vector<std::string> files = {options.script};
  files.insert(files.end(), options.addFiles.begin(), options.addFiles.end());
  std::vector<setup::pack::Entry> entries;
  for (const std::string& file : files) {
    if (!ReadHostFile(file, &bytes)) {
      Complain("cannot read '" + file + "'");
      return false;
    }
    entries.push_back({setup::pack::BaseName(file), std::vector<char>(bytes.begin(), bytes.end())});
  }
  std::string error;
  if (!setup::pack::AppendPackage(*module, entries, &error)) {
    Complain(error);
    return false;
  }
  return true;
}

// The facts of the script to run: SCRIPT, or the "CXX" entry of a --module.
ScriptFacts ScriptFactsOf(const Options& options, const std::vector<char>& module) {
  std::string bytes;
  if (options.module.empty()) {
    ReadHostFile(options.script, &bytes);
    return InspectScript(options.script, bytes);
  }
  std::vector<setup::pack::EntryInfo> entries;
  std::string label = options.module;
  if (setup::pack::ReadPackageTable(module, entries, nullptr)) {
    for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
      const std::size_t dot = it->name.rfind('.');
      std::string ext = dot == std::string::npos ? "" : it->name.substr(dot + 1);
      for (char& c : ext) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      if (ext != "CXX") continue;
      label = it->name;
      bytes.assign(module.begin() + it->offset, module.begin() + it->offset + it->size);
      break;
    }
  }
  return InspectScript(label, bytes);
}

// Reports the queued answers that no message box took.
void ReportLeftoverAnswers() {
  for (const sim::QueuedAnswer& answer : sim::PendingAnswers()) {
    Complain("--answer " + (answer.caption ? *answer.caption + "=" : std::string()) +
             ButtonName(answer.button) + " was not used by any message box");
  }
}

// Compiles the extracted script as Action would: the prelude for `command` is
// put in front of the script (in the script's own file, so that reports name
// the same file), and warnings count lines of the script as packaged.
int CheckScript(const std::string& command) {
  const char* path = setup::theGlobal.m_szFileName;
  std::string text;
  if (std::unique_ptr<plat::TextFile> in = plat::TextFile::Open(path, "r")) {
    char block[8192];
    std::size_t read = 0;
    while ((read = in->Read(block, sizeof block)) > 0) text.append(block, read);
  }
  // The library's own splitter, with its limits and messages.
  setup::ParamTable params;
  if (setup::SplitParameters(command.c_str(), params) != setup::SplitResult::Ok) return 0;
  std::unique_ptr<plat::TextFile> out = plat::TextFile::Open(path, "w");
  if (!out) {
    Complain(std::string("--check: cannot rewrite '") + path + "'");
    return 0;
  }
  const int lines = setup::WriteParamPrelude(*out, static_cast<int>(params.size()), params.data());
  const bool written = out->Write(text.data(), text.size()) && out->Close();
  out.reset();
  if (!written) {
    Complain(std::string("--check: cannot rewrite '") + path + "'");
    return 0;
  }
  setup::theGlobal.m_nPreludeLines = lines;
  return setup::CheckScriptFile(path);
}

// Copies the expanded script out of the machine before the unload deletes it.
bool KeepExpanded(const std::string& hostPath) {
  if (!setup::theGlobal.m_szExpandFile) {
    Complain("--keep-expanded: no expanded script was written");
    return false;
  }
  std::optional<std::string> text = sim::GetFile(*setup::theGlobal.m_szExpandFile);
  std::ofstream out(hostPath, std::ios::binary | std::ios::trunc);
  if (!text || !out.write(text->data(), static_cast<std::streamsize>(text->size()))) {
    Complain("--keep-expanded: cannot copy '" + *setup::theGlobal.m_szExpandFile + "' to '" +
             hostPath + "'");
    return false;
  }
  return true;
}

}  // namespace

int RunSession(const Options& options, SessionReport* report) {
  std::vector<char> module;
  if (!BuildModule(options, &module)) return kExitUsage;
  RunObserver observer(ScriptFactsOf(options, module));

  std::string error;
  if (!sim::Boot(options.machineDir, &error)) {
    Complain("cannot boot the machine: " + error);
    return kExitMachine;
  }
  if (!PrepareMachine(options) || !sim::SetModule(kModuleHandle, kModulePath, module)) {
    sim::ClearFailures();
    sim::Shutdown();
    return kExitUsage;
  }
  setup::theGlobal.m_nStepLimit = options.stepLimit;
  if (report != nullptr) {
    // Quiet run of a matrix: the output is dropped, the events are counted.
    sim::SetStdoutSink([](const char*, std::size_t) {});
    sim::SetEventSink([report](const std::string& line) {
      if (line.rfind("[msgbox] ", 0) == 0 && line.find(" -> ") != std::string::npos) {
        ++report->messageBoxes;
      }
      if (line == "[reboot] restart requested") report->restartRequested = true;
    });
    if (!SnapshotState(&report->before)) {
      sim::Shutdown();
      return kExitMachine;
    }
  } else {
    sim::SetStdoutSink([&observer](const char* text, std::size_t length) {
      std::fwrite(text, 1, length, stdout);
      std::fflush(stdout);
      observer.OnOutput(text, length);
    });
  }

  if (!setup::DllMain(kModuleHandle, setup::kDllProcessAttach, nullptr)) {
    // The library has already run its detach, as after a refused load.
    if (report != nullptr) report->loadRefused = true;
    sim::ClearFailures();
    sim::Shutdown();
    return kExitLoadFailed;
  }

  int status = kExitOk;
  if (options.check) {
    const std::string command = options.commands.empty() ? "" : options.commands[0];
    observer.Begin(command);
    const int compiled = CheckScript(command);
    std::fprintf(stderr, "Check returned %d\n", compiled);
    std::fflush(stderr);
    observer.End(compiled, true);
    if (compiled != 1) status = kExitNotCompiled;
  } else {
    std::vector<std::string> commands = options.commands;
    if (commands.empty()) commands.emplace_back();
    for (const std::string& command : commands) {
      observer.Begin(command);
      const std::int32_t result = Action(command.c_str());
      if (report != nullptr) {
        report->results.push_back(result);
        continue;
      }
      std::fprintf(stderr, "Action returned %d\n", result);
      std::fflush(stderr);
      observer.End(result, false);
    }
  }
  if (!options.keepExpanded.empty() && !KeepExpanded(options.keepExpanded)) status = kExitUsage;
  if (report == nullptr) ReportLeftoverAnswers();

  setup::DllMain(kModuleHandle, setup::kDllProcessDetach, nullptr);
  sim::ClearFailures();
  if (report != nullptr) {
    // Count the changes against the state saved before the library loaded.
    std::string error;
    if (!sim::SaveState(&error) || !SnapshotState(&report->after)) status = kExitMachine;
  }
  sim::Shutdown();
  return status;
}

}  // namespace setuprun
