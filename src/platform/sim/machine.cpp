// The simulated machine: state directory, persistence, handle table,
// events, fault injection and the control interface of machine.h.
#include "platform/sim/machine.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <system_error>

#include "platform/sim/simcore.h"

namespace sim::detail {

// ---- Machine state ---------------------------------------------------------------

struct Machine {
  fs::path stateDir;                                          // host directory of the state
  bool temporary = false;                                     // deleted at Shutdown
  Profile profile;                                            // identity, persisted
  int restartRequests = 0;                                    // ExitWindowsEx restarts recorded
  bool restartPending = false;                                // applied at the next Boot
  std::map<std::string, plat::DWORD> attributes;              // stored attributes by file key
  plat::HMODULE module = nullptr;                             // the DLL's handle (SetModule)
  std::string modulePath;                                     // its Windows path
  std::map<std::uintptr_t, std::unique_ptr<Object>> handles;  // open objects
  std::uintptr_t nextHandle = 0x1000;                         // next handle value
};

namespace {

struct Failure {
  Op op;
  plat::DWORD code;
  int skip;
};

// Per-run settings: kept across Boot, reset by Shutdown.
struct Settings {
  std::deque<QueuedAnswer> answers;
  std::function<void(const std::string&)> eventSink;
  std::function<void(const char*, std::size_t)> stdoutSink;
  bool fastSleep = false;
  std::optional<plat::SYSTEMTIME> fixedTime;
  std::set<std::string> removedEntries;  // "library!name", lower case
  std::vector<Failure> failures;
};

std::unique_ptr<Machine> theMachine;
Settings theSettings;
thread_local plat::DWORD theLastError = 0;

constexpr const char* kOpNames[] = {
#define SIM_OP_NAME(name) #name,
    SIM_FAULT_OPS(SIM_OP_NAME)
#undef SIM_OP_NAME
};

void ShutdownAtExit() {
  sim::Shutdown();
}

bool LoadState(Machine& m, std::string* error) {
  Json state = Json::object();
  fs::path file = m.stateDir / "machine.json";
  std::error_code ec;
  if (fs::exists(file, ec)) {
    std::ifstream in(file, std::ios::binary);
    try {
      state = Json::parse(in);
    } catch (const std::exception& e) {
      if (error) *error = "cannot read " + file.string() + ": " + e.what();
      return false;
    }
    if (!state.is_object()) {
      if (error) *error = "cannot read " + file.string() + ": not an object";
      return false;
    }
  }
  try {
    const Json p = state.value("profile", Json::object());
    Profile& pr = m.profile;
    pr.majorVersion = p.value("majorVersion", pr.majorVersion);
    pr.minorVersion = p.value("minorVersion", pr.minorVersion);
    pr.buildNumber = p.value("buildNumber", pr.buildNumber);
    pr.platformId = p.value("platformId", pr.platformId);
    pr.servicePack = p.value("servicePack", pr.servicePack);
    pr.locale = p.value("locale", pr.locale);
    pr.systemDirectory = p.value("systemDirectory", pr.systemDirectory);
    pr.currentDirectory = p.value("currentDirectory", pr.currentDirectory);
    pr.driverUpdateNeedsReboot = p.value("driverUpdateNeedsReboot", pr.driverUpdateNeedsReboot);
    pr.deviceChangeNeedsReboot = p.value("deviceChangeNeedsReboot", pr.deviceChangeNeedsReboot);
    m.restartRequests = state.value("restartRequests", 0);
    m.restartPending = state.value("restartPending", false);
    const Json attributes = state.value("attributes", Json::object());
    for (auto& [key, value] : attributes.items()) {
      m.attributes[Lower(key)] = value.get<plat::DWORD>();
    }
    LoadRegistry(state);
    LoadServices(state);
    LoadDevices(state);
  } catch (const std::exception& e) {
    if (error) *error = "bad machine state in " + file.string() + ": " + e.what();
    return false;
  }
  return true;
}

// Directories and files of a fresh default machine.
void CreateDefaultTree(Machine& m) {
  std::error_code ec;
  fs::create_directories(m.stateDir / "fs" / "C", ec);
  std::string win = WindowsDirectory();
  const std::string& system = m.profile.systemDirectory;
  for (std::string dir : {win, system, system + "\\drivers", win + "\\inf", win + "\\Temp"}) {
    Resolved r = Resolve(dir.c_str());
    if (r.error == 0 && !r.exists) fs::create_directories(r.host, ec);
  }
  for (const char* library : {"SetupApi.dll", "newdev.dll"}) {
    Resolved r = Resolve((system + "\\" + library).c_str());
    if (r.error == 0 && !r.exists) WriteWhole(r.host, std::string("MZ simulated ") + library);
  }
}

}  // namespace

Machine& M() {
  if (!theMachine) {
    std::string error;
    if (!sim::Boot("", &error)) {
      std::fprintf(stderr, "simulated machine cannot start: %s\n", error.c_str());
      std::abort();
    }
  }
  return *theMachine;
}

fs::path FsRoot() {
  return M().stateDir / "fs";
}

// ---- Last error, events, fault injection -----------------------------------------

void SetError(plat::DWORD code) {
  theLastError = code;
}
plat::DWORD LastError() {
  return theLastError;
}

void Event(const std::string& line) {
  if (theSettings.eventSink) {
    theSettings.eventSink(line);
  } else {
    std::fprintf(stderr, "%s\n", line.c_str());
    std::fflush(stderr);
  }
}

bool Inject(Op op, plat::DWORD* code) {
  for (auto it = theSettings.failures.begin(); it != theSettings.failures.end(); ++it) {
    if (it->op != op) continue;
    if (it->skip > 0) {
      --it->skip;
      return false;
    }
    *code = it->code;
    theSettings.failures.erase(it);
    return true;
  }
  return false;
}

bool InjectFault(Op op) {
  plat::DWORD code = 0;
  if (!Inject(op, &code)) return false;
  SetError(code);
  return true;
}

// ---- Handle table ---------------------------------------------------------------------

plat::HANDLE AddHandle(std::unique_ptr<Object> object) {
  Machine& m = M();
  std::uintptr_t value = m.nextHandle;
  m.nextHandle += 4;
  m.handles[value] = std::move(object);
  return reinterpret_cast<plat::HANDLE>(value);
}

Object* FindHandle(plat::HANDLE handle) {
  Machine& m = M();
  auto it = m.handles.find(reinterpret_cast<std::uintptr_t>(handle));
  return it == m.handles.end() ? nullptr : it->second.get();
}

bool RemoveHandle(plat::HANDLE handle) {
  Machine& m = M();
  auto it = m.handles.find(reinterpret_cast<std::uintptr_t>(handle));
  if (it == m.handles.end()) return false;
  // Destroy outside the table: destructors may look at other handles.
  std::unique_ptr<Object> object = std::move(it->second);
  m.handles.erase(it);
  object.reset();
  return true;
}

// ---- Attributes -----------------------------------------------------------------------

plat::DWORD StoredAttributes(const std::string& key, bool isDirectory) {
  Machine& m = M();
  auto it = m.attributes.find(key);
  if (isDirectory) {
    return plat::FILE_ATTRIBUTE_DIRECTORY | (it == m.attributes.end() ? 0 : it->second);
  }
  plat::DWORD value = it == m.attributes.end() ? plat::FILE_ATTRIBUTE_ARCHIVE : it->second;
  return value == 0 ? plat::FILE_ATTRIBUTE_NORMAL : value;
}

void SetStoredAttributes(const std::string& key, plat::DWORD attributes, bool isDirectory) {
  Machine& m = M();
  attributes &= ~(plat::FILE_ATTRIBUTE_NORMAL | plat::FILE_ATTRIBUTE_DIRECTORY);
  bool plain = isDirectory ? attributes == 0 : attributes == plat::FILE_ATTRIBUTE_ARCHIVE;
  if (plain) {
    m.attributes.erase(key);
  } else {
    m.attributes[key] = attributes;
  }
}

void ForgetAttributes(const std::string& key) {
  Machine& m = M();
  std::string prefix = key + "/";
  for (auto it = m.attributes.begin(); it != m.attributes.end();) {
    if (it->first == key || it->first.rfind(prefix, 0) == 0) {
      it = m.attributes.erase(it);
    } else {
      ++it;
    }
  }
}

void LoadFiles(const Json&) {}

void SaveFiles(Json& state) {
  Json attributes = Json::object();
  for (auto& [key, value] : M().attributes) {
    // Forget entries whose file was removed behind the machine's back.
    // "c/dir/name" -> "c:\dir\name", one character at a time (an insert
    // into the string trips a false -Wrestrict of GCC 12 at -O3).
    std::string windows;
    windows.reserve(key.size() + 1);
    for (std::size_t i = 0; i < key.size(); ++i) {
      windows += key[i] == '/' ? '\\' : key[i];
      if (i == 0) windows += ':';
    }
    Resolved r = Resolve(windows.c_str());
    if (r.error == 0 && r.exists) attributes[key] = value;
  }
  state["attributes"] = attributes;
}

// ---- Host file helpers -----------------------------------------------------------------

bool ReadWhole(const fs::path& host, std::string* content) {
  std::ifstream in(host, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *content = buffer.str();
  return !in.bad();
}

bool WriteWhole(const fs::path& host, std::string_view content) {
  std::ofstream out(host, std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  return static_cast<bool>(out);
}

bool LibraryEntryAvailable(const std::string& library, const std::string& name,
                           plat::DWORD* error) {
  Resolved r = Resolve((M().profile.systemDirectory + "\\" + library).c_str());
  if (r.error != 0 || !r.exists || r.isDirectory) {
    *error = plat::ERROR_MOD_NOT_FOUND;
    return false;
  }
  if (theSettings.removedEntries.count(Lower(library) + "!" + Lower(name)) != 0) {
    *error = plat::ERROR_PROC_NOT_FOUND;
    return false;
  }
  return true;
}

}  // namespace sim::detail

// ---- Control interface ------------------------------------------------------------------

namespace sim {

using namespace detail;

bool Boot(const std::string& stateDir, std::string* error) {
  if (theMachine) Shutdown();
  auto m = std::make_unique<Machine>();
  std::error_code ec;
  if (stateDir.empty()) {
    std::string pattern = (fs::temp_directory_path(ec) / "simwin-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
      if (error) *error = "cannot create a temporary state directory";
      return false;
    }
    m->stateDir = buffer.data();
    m->temporary = true;
  } else {
    m->stateDir = fs::absolute(stateDir, ec);
    fs::create_directories(m->stateDir, ec);
    if (!fs::is_directory(m->stateDir, ec)) {
      if (error) *error = "cannot create state directory " + stateDir;
      return false;
    }
  }
  // Install before loading: loading resolves paths through the machine.
  bool fresh = !fs::exists(m->stateDir / "machine.json", ec);
  theMachine = std::move(m);
  if (!LoadState(*theMachine, error)) {
    if (theMachine->temporary) fs::remove_all(theMachine->stateDir, ec);
    theMachine.reset();
    return false;
  }
  if (fresh) CreateDefaultTree(*theMachine);
  ResetProcessState();
  if (theMachine->restartPending) {
    ApplyRestart();
    theMachine->restartPending = false;
  }
  static const bool registered = (std::atexit(ShutdownAtExit), true);
  (void)registered;
  if (!theMachine->temporary) return SaveState(error);
  return true;
}

void Shutdown() {
  if (!theMachine) return;
  // Close every handle first (files, mappings, keys, services, device sets).
  while (!theMachine->handles.empty()) {
    RemoveHandle(reinterpret_cast<plat::HANDLE>(theMachine->handles.begin()->first));
  }
  std::error_code ec;
  if (theMachine->temporary) {
    fs::remove_all(theMachine->stateDir, ec);
  } else {
    SaveState(nullptr);
  }
  theMachine.reset();
  theSettings = Settings{};
}

bool IsBooted() {
  return theMachine != nullptr;
}

bool SaveState(std::string* error) {
  Machine& m = M();
  Json state = Json::object();
  const Profile& p = m.profile;
  state["profile"] = {{"majorVersion", p.majorVersion},
                      {"minorVersion", p.minorVersion},
                      {"buildNumber", p.buildNumber},
                      {"platformId", p.platformId},
                      {"servicePack", p.servicePack},
                      {"locale", p.locale},
                      {"systemDirectory", p.systemDirectory},
                      {"currentDirectory", p.currentDirectory},
                      {"driverUpdateNeedsReboot", p.driverUpdateNeedsReboot},
                      {"deviceChangeNeedsReboot", p.deviceChangeNeedsReboot}};
  state["restartRequests"] = m.restartRequests;
  state["restartPending"] = m.restartPending;
  SaveFiles(state);
  SaveRegistry(state);
  SaveServices(state);
  SaveDevices(state);
  fs::path file = m.stateDir / "machine.json";
  fs::path temp = m.stateDir / "machine.json.tmp";
  std::error_code ec;
  if (!WriteWhole(temp, state.dump(2) + "\n")) {
    if (error) *error = "cannot write " + temp.string();
    return false;
  }
  fs::rename(temp, file, ec);
  if (ec) {
    if (error) *error = "cannot write " + file.string() + ": " + ec.message();
    return false;
  }
  return true;
}

std::string StateDir() {
  return M().stateDir.string();
}

Profile& GetProfile() {
  return M().profile;
}

namespace {
// The control interface may place files on any drive: make the drive exist.
void EnsureDrive(const std::string& windowsPath) {
  if (windowsPath.size() >= 2 && windowsPath[1] == ':' &&
      std::isalpha(static_cast<unsigned char>(windowsPath[0]))) {
    std::error_code ec;
    char drive = static_cast<char>(std::toupper(static_cast<unsigned char>(windowsPath[0])));
    fs::create_directories(FsRoot() / std::string(1, drive), ec);
  }
}
}  // namespace

bool SetModule(plat::HMODULE module, const std::string& windowsPath,
               const std::vector<char>& bytes) {
  EnsureDrive(windowsPath);
  Resolved r = Resolve(windowsPath.c_str());
  if (r.error != 0 || r.isDirectory) return false;
  std::error_code ec;
  fs::create_directories(r.host.parent_path(), ec);
  // Resolve again: the directories now exist in the case given.
  r = Resolve(windowsPath.c_str());
  if (!WriteWhole(r.host, std::string_view(bytes.data(), bytes.size()))) return false;
  Machine& m = M();
  m.module = module;
  m.modulePath = windowsPath;
  return true;
}

std::string HostPath(const std::string& windowsPath) {
  Resolved r = Resolve(windowsPath.c_str(), true);
  return r.error != 0 ? std::string() : r.host.string();
}

bool PutFile(const std::string& windowsPath, std::string_view content) {
  EnsureDrive(windowsPath);
  Resolved r = Resolve(windowsPath.c_str());
  if (r.error != 0 || r.isDirectory) return false;
  std::error_code ec;
  fs::create_directories(r.host.parent_path(), ec);
  r = Resolve(windowsPath.c_str());
  return WriteWhole(r.host, content);
}

std::optional<std::string> GetFile(const std::string& windowsPath) {
  Resolved r = Resolve(windowsPath.c_str());
  if (r.error != 0 || !r.exists || r.isDirectory) return std::nullopt;
  std::string content;
  if (!ReadWhole(r.host, &content)) return std::nullopt;
  return content;
}

void QueueAnswer(int answer) {
  theSettings.answers.push_back({answer, std::nullopt});
}
void QueueAnswer(const QueuedAnswer& answer) {
  theSettings.answers.push_back(answer);
}
std::vector<QueuedAnswer> PendingAnswers() {
  return {theSettings.answers.begin(), theSettings.answers.end()};
}
void SetEventSink(std::function<void(const std::string&)> sink) {
  theSettings.eventSink = std::move(sink);
}
void SetStdoutSink(std::function<void(const char*, std::size_t)> sink) {
  theSettings.stdoutSink = std::move(sink);
}
void SetFastSleep(bool fast) {
  theSettings.fastSleep = fast;
}
void SetFixedTime(std::optional<plat::SYSTEMTIME> time) {
  theSettings.fixedTime = time;
}
void RemoveEntryPoint(const std::string& library, const std::string& name) {
  theSettings.removedEntries.insert(Lower(library) + "!" + Lower(name));
}

std::optional<Op> OpFromName(std::string_view name) {
  for (std::size_t i = 0; i < std::size(kOpNames); ++i) {
    if (name == kOpNames[i]) return static_cast<Op>(i);
  }
  return std::nullopt;
}

const char* OpName(Op op) {
  auto index = static_cast<std::size_t>(op);
  return index < std::size(kOpNames) ? kOpNames[index] : "?";
}

void FailNext(Op op, plat::DWORD error, int skip) {
  theSettings.failures.push_back({op, error, skip < 0 ? 0 : skip});
}
void ClearFailures() {
  theSettings.failures.clear();
}

int RestartRequests() {
  return M().restartRequests;
}

}  // namespace sim

// ---- Accessors used by the system part ------------------------------------------------

namespace sim::detail {

std::optional<int> TakeAnswer(const std::string& caption, const std::vector<int>& buttons,
                              std::vector<int>* passedOver) {
  auto& queue = theSettings.answers;
  auto canGive = [&buttons](int button) {
    return std::find(buttons.begin(), buttons.end(), button) != buttons.end();
  };
  // An answer aimed at this caption wins over the answers for any box.
  for (int pass = 0; pass < 2; ++pass) {
    for (auto it = queue.begin(); it != queue.end(); ++it) {
      if (pass == 0 ? it->caption != caption : it->caption.has_value()) continue;
      if (!canGive(it->button)) {
        if (passedOver != nullptr) passedOver->push_back(it->button);
        continue;
      }
      const int answer = it->button;
      queue.erase(it);
      return answer;
    }
  }
  return std::nullopt;
}
void WriteOut(const char* text, std::size_t length) {
  if (theSettings.stdoutSink) {
    theSettings.stdoutSink(text, length);
  } else {
    std::fwrite(text, 1, length, stdout);
    std::fflush(stdout);
  }
}
bool FastSleep() {
  return theSettings.fastSleep;
}
std::optional<plat::SYSTEMTIME> FixedTime() {
  return theSettings.fixedTime;
}
plat::HMODULE ModuleHandle() {
  return M().module;
}
const std::string& ModulePath() {
  return M().modulePath;
}
void RecordRestart() {
  Machine& m = M();
  ++m.restartRequests;
  m.restartPending = true;
}

}  // namespace sim::detail
