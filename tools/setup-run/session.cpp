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
#include "common/regfile.h"
#include "common/regsim.h"
#include "common/script_check.h"
#include "common/snapshot.h"
#include "diagnose.h"
#include "entry/action.h"
#include "entry/startup.h"
#include "platform/sim/machine.h"
#include "watch.h"

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
  // The size the file has now in one read, then whatever is left byte by
  // byte: nothing for a regular file, everything for a pipe.
  std::streamoff size = -1;
  if (in.seekg(0, std::ios::end)) size = in.tellg();
  in.clear();
  bytes->clear();
  if (size > 0 && in.seekg(0)) {
    bytes->resize(static_cast<std::size_t>(size));
    in.read(bytes->data(), size);
    bytes->resize(static_cast<std::size_t>(in.gcount()));
  }
  in.clear();
  bytes->append(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
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

bool WriteHostFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  return out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())) && out.flush();
}

// Reads and parses every --import-reg file before anything changes, so that a
// damaged file leaves the machine as it was.
bool ReadImports(const Options& options, std::vector<regfile::File>* files) {
  for (const std::string& path : options.importRegs) {
    std::string bytes;
    if (!ReadHostFile(path, &bytes)) {
      Complain("cannot read '" + path + "'");
      return false;
    }
    regfile::ReadError error;
    std::optional<regfile::File> file = regfile::Read(bytes, &error);
    if (!file) {
      Complain(path + (error.line > 0 ? ":" + std::to_string(error.line) : std::string()) + ": " +
               error.message);
      return false;
    }
    files->push_back(std::move(*file));
  }
  return true;
}

// Checks the --export-key names before the run.
bool CheckExportKeys(const Options& options) {
  for (const std::string& key : options.exportKeys) {
    if (!regsim::ParseKeyName(key)) {
      Complain("--export-key wants a key such as HKEY_LOCAL_MACHINE\\SOFTWARE\\Name, not '" + key +
               "'");
      return false;
    }
  }
  return true;
}

// Writes --export-reg: the whole registry, or the --export-key keys that exist.
bool ExportRegistry(const Options& options) {
  regfile::File file;
  if (options.exportKeys.empty()) {
    file = regsim::Export().value_or(regfile::File{});
  } else {
    for (const std::string& name : options.exportKeys) {
      auto [root, path] = *regsim::ParseKeyName(name);
      if (std::optional<regfile::File> part = regsim::Export(root, path)) {
        for (regfile::Key& key : part->keys) file.keys.push_back(std::move(key));
      }
    }
  }
  if (!WriteHostFile(options.exportReg, regfile::Write(file))) {
    Complain("cannot write '" + options.exportReg + "'");
    return false;
  }
  return true;
}

// Prints or writes the change set of --diff.
bool WriteDiff(const Options& options, const snapshot::Snapshot& before) {
  const std::string changes = snapshot::Diff(before, snapshot::Take());
  if (options.diffFile.empty()) {
    std::fputs(changes.c_str(), stderr);
    std::fflush(stderr);
    return true;
  }
  if (!WriteHostFile(options.diffFile, changes)) {
    Complain("cannot write '" + options.diffFile + "'");
    return false;
  }
  return true;
}

// Applies the machine-level options: registry imports, profile overrides
// (saved with a --machine), files, devices, and the per-run settings.
bool PrepareMachine(const Options& options, const std::vector<regfile::File>& imports) {
  sim::Profile& profile = sim::GetProfile();
  if (options.profile) {
    profile.majorVersion = options.profile->major;
    profile.minorVersion = options.profile->minor;
    profile.buildNumber = options.profile->build;
    profile.platformId = options.profile->platform;
    profile.servicePack = options.profile->servicePack;
    profile.locale = 0x0409;
    profile.amd64 = options.profile->amd64;
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
  if (options.amd64 || options.wow64) profile.amd64 = true;
  if (options.sysdir) MoveSystemDirectory(*options.sysdir);
  sim::AddWow64Layout();
  sim::AddVersionValues();
  // The library loads the copy its process sees: SysWOW64's under WOW64.
  const std::string libraries = options.wow64
                                    ? WindowsParent(profile.systemDirectory) + "\\SysWOW64"
                                    : profile.systemDirectory;
  if (options.noSetupapi) plat::DeleteFileA((libraries + "\\SetupApi.dll").c_str());
  if (options.noNewdev) plat::DeleteFileA((libraries + "\\newdev.dll").c_str());

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
  for (std::size_t i = 0; i < imports.size(); ++i) {
    std::string error;
    if (!regsim::Import(imports[i], &error)) {
      Complain(options.importRegs[i] + ": " + error);
      return false;
    }
  }

  for (const KeyRestriction& key : options.keyRestrictions) {
    std::optional<plat::REGSAM> rights = key.readOnly ? plat::KEY_READ : 0;
    if (!sim::SetKeyAccess(key.root, key.path, rights)) {
      Complain("cannot restrict registry key '" + key.path + "'");
      return false;
    }
  }

  for (const Answer& answer : options.answers) sim::QueueAnswer({answer.button, answer.caption});
  sim::SetFastSleep(options.fastSleep);
  sim::SetWow64Process(options.wow64);
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

// Tells the watcher how to name the script and the files it may include: the
// trace names the script as given, the tracefile by its absolute host path,
// and an included file put on the machine by its host file.
void PrepareWatcher(const Options& options, const std::string& label) {
  std::vector<std::pair<std::string, std::string>> includes;
  for (const PutFile& put : options.putFiles) {
    const std::string windows =
        put.windowsPath.empty() ? DefaultPutPath(put.hostPath) : put.windowsPath;
    includes.emplace_back(windows, fs::absolute(put.hostPath).lexically_normal().string());
  }
  const std::string path =
      options.module.empty() ? fs::absolute(options.script).lexically_normal().string() : label;
  options.watcher->SetScript(label, path, std::move(includes));
}

// Reports the queued answers that no message box took.
void ReportLeftoverAnswers() {
  for (const sim::QueuedAnswer& answer : sim::PendingAnswers()) {
    Complain("--answer " + (answer.caption ? *answer.caption + "=" : std::string()) +
             ButtonName(answer.button) + " was not used by any message box");
  }
}

// Compiles the extracted script as Action would for `command`.
int CheckScript(const std::string& command) {
  std::string problem;
  const scriptcheck::Outcome outcome = scriptcheck::CompileForCommand(command, &problem);
  if (outcome == scriptcheck::Outcome::NotPrepared) Complain("--check: " + problem);
  return outcome == scriptcheck::Outcome::Compiled ? 1 : 0;
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

bool StartsWithNoCase(const std::string& text, const std::string& prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) !=
        std::tolower(static_cast<unsigned char>(prefix[i]))) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::vector<std::string> Wow64Warnings(const snapshot::Snapshot& before,
                                       const snapshot::Snapshot& after) {
  std::vector<std::string> warnings;
  const std::string system = sim::GetProfile().systemDirectory;
  const std::string sysWow64 = WindowsParent(system) + "\\SysWOW64";
  const std::string drivers = sysWow64 + "\\drivers\\";
  for (const snapshot::FileEntry& file : after.files) {
    if (file.directory || !StartsWithNoCase(file.path, drivers)) continue;
    bool same = false;
    for (const snapshot::FileEntry& old : before.files) {
      same = same || (old.path == file.path && old.hash == file.hash && old.size == file.size);
    }
    if (same) continue;
    warnings.push_back("the 32-bit DLL wrote " + file.path +
                       ": WOW64 redirects system32 to SysWOW64 for it, and 64-bit Windows "
                       "loads no driver from SysWOW64\\drivers (use %windir%\\Sysnative, or "
                       "ship the 64-bit DLL)");
  }
  for (const sim::MissingImage& missing : sim::MissingServiceImages()) {
    std::string text = "service '" + missing.service +
                       "' did not start (error 2): 64-bit Windows looks for " + missing.image;
    if (StartsWithNoCase(missing.image, system + "\\")) {
      const std::string copy = sysWow64 + missing.image.substr(system.size());
      text += sim::GetFile(copy) ? ", but the 32-bit DLL's copy is in SysWOW64 (" + copy + ")"
                                 : ", which the 32-bit DLL sees as SysWOW64";
    } else {
      text += " (the 32-bit DLL sees system32 as SysWOW64)";
    }
    warnings.push_back(text);
  }
  return warnings;
}

int RunSession(const Options& options, SessionReport* report) {
  std::vector<regfile::File> imports;
  if (!ReadImports(options, &imports) || !CheckExportKeys(options)) return kExitUsage;
  std::vector<char> module;
  if (!options.show && !BuildModule(options, &module)) return kExitUsage;
  ScriptFacts facts = ScriptFactsOf(options, module);
  if (options.watcher != nullptr) PrepareWatcher(options, facts.label);
  RunObserver observer(std::move(facts));

  std::string error;
  if (!sim::Boot(options.machineDir, &error)) {
    Complain("cannot boot the machine: " + error);
    return kExitMachine;
  }
  // The run's own results: registry export and change set, then shut down.
  auto finish = [&](int status, const snapshot::Snapshot* before) {
    if (before && !WriteDiff(options, *before)) status = kExitUsage;
    if (!options.exportReg.empty() && !ExportRegistry(options)) status = kExitUsage;
    sim::ClearFailures();
    sim::Shutdown();
    return status;
  };
  if (options.show) {
    if (!PrepareMachine(options, imports)) return finish(kExitUsage, nullptr);
    const std::string state = snapshot::Show(snapshot::Take());
    std::fwrite(state.data(), 1, state.size(), stdout);
    std::fflush(stdout);
    return finish(kExitOk, nullptr);
  }
  if (!PrepareMachine(options, imports) || !sim::SetModule(kModuleHandle, kModulePath, module)) {
    sim::ClearFailures();
    sim::Shutdown();
    return kExitUsage;
  }
  // The machine holds the module file now, as Windows would hold the DLL's;
  // a copy kept here would count in the run's memory.
  std::vector<char>().swap(module);
  setup::theGlobal.m_nStepLimit = options.stepLimit;
  setup::theGlobal.m_nPassLimit = options.passLimit;
  if (report != nullptr) {
    // Quiet run of a matrix: the output is dropped, the events are counted.
    sim::SetStdoutSink([](const char*, std::size_t) {});
    sim::SetEventSink([report](const std::string& line) {
      if (line.rfind("[msgbox] ", 0) == 0 && line.find(" -> ") != std::string::npos) {
        ++report->messageBoxes;
      }
      if (line == "[reboot] restart requested") report->restartRequested = true;
    });
  } else {
    sim::SetStdoutSink([&observer](const char* text, std::size_t length) {
      std::fwrite(text, 1, length, stdout);
      std::fflush(stdout);
      observer.OnOutput(text, length);
    });
  }

  // The change set covers the library's whole life on the machine, from load
  // to unload (the unload deletes the script files the load wrote); a matrix
  // row counts the same changes.
  std::optional<snapshot::Snapshot> before;
  if (options.diff || report != nullptr) before = snapshot::Take();
  const snapshot::Snapshot* baseline = options.diff ? &*before : nullptr;

  if (!setup::DllMain(kModuleHandle, setup::kDllProcessAttach, nullptr)) {
    // The library has already run its detach, as after a refused load.
    if (report != nullptr) report->loadRefused = true;
    return finish(kExitLoadFailed, baseline);
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
      if (options.watcher != nullptr) options.watcher->BeginAction();
      const std::int32_t result = Action(command.c_str());
      if (options.watcher != nullptr) options.watcher->EndAction();
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
  if (report != nullptr) {
    const snapshot::Snapshot after = snapshot::Take();
    snapshot::Diff(*before, after, &report->changes);
    if (options.wow64 && sim::GetProfile().amd64) {
      report->wow64Warnings = Wow64Warnings(*before, after);
    }
  }
  return finish(status, baseline);
}

}  // namespace setuprun
