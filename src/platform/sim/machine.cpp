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
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "platform/sim/simcore.h"
#include "platform/sim/stateread.h"

namespace sim::detail {

// ---- Machine state ---------------------------------------------------------------

struct Machine {
  fs::path stateDir;                 // host directory of the state
  std::string shownDir;              // stateDir as the caller named it
  bool temporary = false;            // deleted at Shutdown
  std::unique_ptr<FileStore> files;  // <state>/fs on the host, or in memory when temporary
  Profile profile;                   // identity, persisted
  int restartRequests = 0;           // ExitWindowsEx restarts recorded
  bool restartPending = false;       // applied at the next Boot
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
  bool wow64 = false;  // a 32-bit process on 64-bit Windows
  std::optional<plat::SYSTEMTIME> fixedTime;
  std::set<std::string> removedEntries;  // "library!name", lower case
  std::vector<Failure> failures;
  std::vector<MissingImage> missingImages;  // failed service starts
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

// Host files of the state directory itself (machine.json).
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

// machine.json keeps the machine's 8-bit strings (registry names and data,
// paths, service texts) with every byte written as the character of the same
// number, U+0000..U+00FF: JSON needs UTF-8 text, and this way any byte
// sequence is saved and read back unchanged.
std::string BytesToText(const std::string& bytes) {
  std::string text;
  for (char c : bytes) {
    auto b = static_cast<unsigned char>(c);
    if (b < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | (b >> 6));
      text += static_cast<char>(0x80 | (b & 0x3F));
    }
  }
  return text;
}

// The bytes a text of the state stands for; none when it holds a character
// above U+00FF.
std::optional<std::string> TextToBytes(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto b = static_cast<unsigned char>(text[i]);
    if (b < 0x80) {
      bytes += text[i];
    } else if ((b == 0xC2 || b == 0xC3) && i + 1 < text.size()) {
      bytes +=
          static_cast<char>(((b & 0x03) << 6) | (static_cast<unsigned char>(text[++i]) & 0x3F));
    } else {
      return std::nullopt;
    }
  }
  return bytes;
}

// The state to save: every string and member name as text.
Json BytesAsText(const Json& node) {
  if (node.is_string()) return BytesToText(node.get_ref<const std::string&>());
  if (node.is_array()) {
    Json out = Json::array();
    for (const Json& item : node) out.push_back(BytesAsText(item));
    return out;
  }
  if (node.is_object()) {
    Json out = Json::object();
    for (auto it = node.begin(); it != node.end(); ++it) {
      out[BytesToText(it.key())] = BytesAsText(it.value());
    }
    return out;
  }
  return node;
}

// The state as read: every string and member name back to its bytes. The
// parser has bounded the nesting, so the recursion is bounded too.
Json TextAsBytes(const Json& node, const Where& where) {
  constexpr const char* kTooWide = "holds a character above U+00FF";
  if (node.is_string()) {
    std::optional<std::string> bytes = TextToBytes(node.get_ref<const std::string&>());
    if (!bytes) where.Fail(kTooWide);
    return std::move(*bytes);
  }
  if (node.is_array()) {
    Json out = Json::array();
    for (std::size_t i = 0; i < node.size(); ++i)
      out.push_back(TextAsBytes(node[i], Where(where, i)));
    return out;
  }
  if (node.is_object()) {
    Json out = Json::object();
    for (auto it = node.begin(); it != node.end(); ++it) {
      const Where at(where, it.key());
      std::optional<std::string> name = TextToBytes(it.key());
      if (!name) at.Fail(std::string("its name ") + kTooWide);
      out[std::move(*name)] = TextAsBytes(it.value(), at);
    }
    return out;
  }
  return node;
}

void LoadProfile(const Json& p, const Where& where, Profile* pr) {
  ExpectObject(p, where);
  Get(p, where, "majorVersion", &pr->majorVersion);
  Get(p, where, "minorVersion", &pr->minorVersion);
  Get(p, where, "buildNumber", &pr->buildNumber);
  Get(p, where, "platformId", &pr->platformId);
  Get(p, where, "servicePack", &pr->servicePack);
  Get(p, where, "locale", &pr->locale);
  Get(p, where, "systemDirectory", &pr->systemDirectory);
  Get(p, where, "currentDirectory", &pr->currentDirectory);
  Get(p, where, "driverUpdateNeedsReboot", &pr->driverUpdateNeedsReboot);
  Get(p, where, "deviceChangeNeedsReboot", &pr->deviceChangeNeedsReboot);
  Get(p, where, "amd64", &pr->amd64);
}

// Loads a parsed state into a fresh machine. Every value is checked before
// it is used; a bad one fails with the field's name.
bool LoadParsedState(Machine& m, const Json& state, std::string* error) {
  if (!state.is_object()) {
    if (error) *error = "not an object";
    return false;
  }
  try {
    if (const Json* p = Member(state, "profile")) LoadProfile(*p, Where("profile"), &m.profile);
    if (const Json* v = Member(state, "restartRequests")) {
      m.restartRequests = static_cast<int>(
          ReadInteger(*v, Where("restartRequests"), 0, std::numeric_limits<int>::max()));
    }
    if (const Json* v = Member(state, "restartPending")) {
      m.restartPending = ReadBool(*v, Where("restartPending"));
    }
    if (const Json* attributes = Member(state, "attributes")) {
      const Where where("attributes");
      ExpectObject(*attributes, where);
      for (auto it = attributes->begin(); it != attributes->end(); ++it) {
        m.attributes[Lower(it.key())] = ReadInt<plat::DWORD>(it.value(), Where(where, it.key()));
      }
    }
    LoadRegistry(state);
    LoadServices(state);
    LoadDevices(state);
  } catch (const std::exception& e) {
    if (error) *error = e.what();
    return false;
  }
  return true;
}

// Loads the text of a state file; an empty text is a fresh default machine.
bool LoadStateText(Machine& m, std::string_view text, std::string* error) {
  if (text.empty()) {
    // The defaults do not change between machines: build them once, then
    // start every fresh machine from copies.
    static std::shared_ptr<const RegistryImage> registry;
    static std::shared_ptr<const ServicesImage> services;
    if (registry && services) {
      RestoreRegistry(*registry);
      RestoreServices(*services);
      LoadDevices(Json::object());
      return true;
    }
    if (!LoadParsedState(m, Json::object(), error)) return false;
    registry = CaptureRegistry();
    services = CaptureServices();
    return true;
  }
  Json parsed;
  if (!ParseState(text, &parsed, error)) return false;
  Json state;
  try {
    state = TextAsBytes(parsed, Where());
  } catch (const std::exception& e) {
    if (error) *error = e.what();
    return false;
  }
  return LoadParsedState(m, state, error);
}

// Reads machine.json, when there is one, into a fresh machine. A bad file
// fails the boot and is left as it is.
bool LoadState(Machine& m, std::string* error) {
  fs::path file = m.stateDir / "machine.json";
  const std::string shown = (fs::path(m.shownDir) / "machine.json").string();
  std::error_code ec;
  std::string text;
  if (fs::exists(file, ec)) {
    if (!ReadWhole(file, &text)) {
      if (error) *error = "cannot read " + shown;
      return false;
    }
    if (text.empty()) text = " ";  // present but empty: not a fresh machine
  }
  std::string why;
  if (!LoadStateText(m, text, &why)) {
    if (error) *error = "bad machine state in " + shown + ": " + why;
    return false;
  }
  return true;
}

// Directories and files of a fresh default machine. A temporary machine's
// tree is built once per system directory and copied for every later fresh
// start (one per fuzz input); the copy shares the files' contents until
// they are written.
void CreateDefaultTree(Machine& m) {
  static std::map<std::string, std::unique_ptr<FileStore>> built;  // by system directory
  const std::string& system = m.profile.systemDirectory;
  std::unique_ptr<FileStore>* cached = nullptr;
  if (m.temporary) {
    cached = &built[system];
    if (*cached) {
      m.files = (*cached)->Clone();
      return;
    }
  }
  FileStore& files = *m.files;
  files.MakeDirectories("C");
  std::string win = WindowsDirectory();
  for (std::string dir : {win, system, system + "\\drivers", win + "\\inf", win + "\\Temp"}) {
    Resolved r = Resolve(dir.c_str());
    if (r.error == 0 && !r.exists) files.MakeDirectories(r.path);
  }
  for (const char* library : {"SetupApi.dll", "newdev.dll"}) {
    Resolved r = Resolve((system + "\\" + library).c_str());
    if (r.error == 0 && !r.exists) files.WriteAll(r.path, std::string("MZ simulated ") + library);
  }
  // The images of the services every fresh machine runs.
  for (const std::string& image : BaselineImages()) {
    Resolved r = Resolve(image.c_str());
    if (r.error == 0 && !r.exists && r.parentExists)
      files.WriteAll(r.path, "MZ simulated " + r.name);
  }
  if (cached) *cached = files.Clone();
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

FileStore& Files() {
  return *M().files;
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

std::size_t OpenHandleCount() {
  return M().handles.size();
}

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

namespace {

// Whether the library's file is in the system directory as the process sees
// it (SysWOW64 for a 32-bit process on 64-bit Windows). The store path last
// found for a library is remembered: while it is still a file there, one
// look-up answers (the library calls ask for every entry point they bind).
bool LibraryFilePresent(const std::string& library) {
  struct Known {
    std::string windows;  // the Windows path it was found for
    std::string path;     // its store path
  };
  static std::map<std::string, Known> known;  // by lower-case library name
  const std::string windows = M().profile.systemDirectory + "\\" + library;
  Known& entry = known[Lower(library) + (Wow64View() ? "|wow64" : "")];
  if (entry.windows == windows) {
    std::optional<StoreEntry> found = Files().Stat(entry.path);
    if (found && !found->isDirectory) return true;
  }
  Resolved r = ResolveInProcess(windows.c_str());
  if (r.error != 0 || !r.exists || r.isDirectory) return false;
  entry = {windows, r.path};
  return true;
}

}  // namespace

bool LibraryEntryAvailable(const std::string& library, const std::string& name,
                           plat::DWORD* error) {
  if (!LibraryFilePresent(library)) {
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

namespace {

// Where temporary machines keep their files: a memory file system when the
// host has one, so that a thrown-away machine never reaches the disk.
fs::path ScratchRoot() {
  std::error_code ec;
  if (fs::is_directory("/dev/shm", ec) && ::access("/dev/shm", W_OK | X_OK) == 0) {
    return "/dev/shm";
  }
  return fs::temp_directory_path(ec);
}

// Closes every open handle (files, mappings, keys, services, device sets).
void CloseAllHandles(Machine& m) {
  while (!m.handles.empty()) {
    RemoveHandle(reinterpret_cast<plat::HANDLE>(m.handles.begin()->first));
  }
}

// Installs `m` as the running machine and loads its state: `text` for a
// temporary machine, machine.json otherwise. A fresh machine gets the
// default tree. On failure nothing runs and *error says why.
bool Start(std::unique_ptr<Machine> m, std::string_view text, bool fresh, std::string* error) {
  // Install before loading: loading resolves paths through the machine.
  theMachine = std::move(m);
  bool loaded = theMachine->temporary ? LoadStateText(*theMachine, text, error)
                                      : LoadState(*theMachine, error);
  if (!loaded) {
    std::error_code ec;
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
  return true;
}

}  // namespace

bool Boot(const std::string& stateDir, std::string* error) {
  if (theMachine) Shutdown();
  auto m = std::make_unique<Machine>();
  std::error_code ec;
  if (stateDir.empty()) {
    std::string pattern = (ScratchRoot() / "simwin-XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
      if (error) *error = "cannot create a temporary state directory";
      return false;
    }
    m->stateDir = buffer.data();
    m->temporary = true;
    m->files = MakeMemoryStore();
    return Start(std::move(m), {}, true, error);
  }
  m->stateDir = fs::absolute(stateDir, ec);
  m->shownDir = stateDir;
  m->files = MakeHostStore(m->stateDir / "fs");
  fs::create_directories(m->stateDir, ec);
  if (!fs::is_directory(m->stateDir, ec)) {
    if (error) *error = "cannot create state directory " + stateDir;
    return false;
  }
  bool fresh = !fs::exists(m->stateDir / "machine.json", ec);
  return Start(std::move(m), {}, fresh, error) && SaveState(error);
}

bool Reset(std::string_view stateText, std::string* error) {
  if (theMachine && !theMachine->temporary) {
    if (error) *error = "a machine kept in a state directory cannot be reset";
    return false;
  }
  if (!theMachine && !Boot("", error)) return false;
  CloseAllHandles(*theMachine);
  theSettings = Settings{};
  // The scratch directory stays; the files start again from an empty tree.
  auto m = std::make_unique<Machine>();
  m->stateDir = theMachine->stateDir;
  m->temporary = true;
  m->files = MakeMemoryStore();
  theMachine.reset();
  return Start(std::move(m), stateText, true, error);
}

void Shutdown() {
  if (!theMachine) return;
  CloseAllHandles(*theMachine);
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

std::string StateText() {
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
                      {"deviceChangeNeedsReboot", p.deviceChangeNeedsReboot},
                      {"amd64", p.amd64}};
  state["restartRequests"] = m.restartRequests;
  state["restartPending"] = m.restartPending;
  SaveFiles(state);
  SaveRegistry(state);
  SaveServices(state);
  SaveDevices(state);
  return BytesAsText(state).dump(2) + "\n";
}

bool SaveState(std::string* error) {
  Machine& m = M();
  if (m.temporary) return true;  // nothing is kept
  fs::path file = m.stateDir / "machine.json";
  fs::path temp = m.stateDir / "machine.json.tmp";
  std::error_code ec;
  if (!WriteWhole(temp, StateText())) {
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
    char drive = static_cast<char>(std::toupper(static_cast<unsigned char>(windowsPath[0])));
    Files().MakeDirectories(std::string(1, drive));
  }
}

// Creates the missing directories above a file to be written; false when the
// path names no file.
bool MakeParents(const Resolved& r) {
  if (r.error != 0 || r.isDirectory || r.name.empty()) return false;
  return Files().MakeDirectories(r.path.substr(0, r.path.find_last_of('/')));
}
}  // namespace

bool SetModule(plat::HMODULE module, const std::string& windowsPath,
               const std::vector<char>& bytes) {
  EnsureDrive(windowsPath);
  Resolved r = Resolve(windowsPath.c_str());
  if (!MakeParents(r)) return false;
  // Resolve again: the directories now exist in the case given.
  r = Resolve(windowsPath.c_str());
  if (!Files().WriteAll(r.path, std::string_view(bytes.data(), bytes.size()))) return false;
  Machine& m = M();
  m.module = module;
  m.modulePath = windowsPath;
  return true;
}

std::string HostPath(const std::string& windowsPath) {
  Resolved r = Resolve(windowsPath.c_str(), true);
  return r.error != 0 ? std::string() : Files().HostPath(r.path);
}

bool PutFile(const std::string& windowsPath, std::string_view content) {
  EnsureDrive(windowsPath);
  Resolved r = Resolve(windowsPath.c_str());
  if (!MakeParents(r)) return false;
  r = Resolve(windowsPath.c_str());
  return Files().WriteAll(r.path, content);
}

std::optional<std::string> GetFile(const std::string& windowsPath) {
  Resolved r = Resolve(windowsPath.c_str());
  if (r.error != 0 || !r.exists || r.isDirectory) return std::nullopt;
  std::string content;
  if (!Files().ReadAll(r.path, &content)) return std::nullopt;
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
void SetWow64Process(bool wow64) {
  theSettings.wow64 = wow64;
}
bool Wow64Process() {
  return theSettings.wow64;
}
void AddWow64Layout() {
  Machine& m = M();
  if (!m.profile.amd64) return;
  const std::string sysWow64 = WindowsDirectory() + "\\SysWOW64";
  for (const std::string& dir : {sysWow64, sysWow64 + "\\drivers"}) {
    Resolved r = Resolve(dir.c_str());
    if (r.error == 0 && !r.exists && r.parentExists) Files().MakeDirectories(r.path);
  }
  for (const char* library : {"SetupApi.dll", "newdev.dll"}) {
    Resolved r = Resolve((sysWow64 + "\\" + library).c_str());
    if (r.error == 0 && !r.exists && r.parentExists) {
      Files().WriteAll(r.path, std::string("MZ simulated 32-bit ") + library);
    }
  }
  const std::string version = "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion";
  if (!RegKeyPresent(plat::HKEY_LOCAL_MACHINE, version)) {
    RegWriteString(plat::HKEY_LOCAL_MACHINE, version, "ProgramFilesDir", "C:\\Program Files (x86)");
    RegWriteString(plat::HKEY_LOCAL_MACHINE, version, "CommonFilesDir",
                   "C:\\Program Files (x86)\\Common Files");
    RegWriteString(plat::HKEY_LOCAL_MACHINE, version, "DevicePath", "%SystemRoot%\\inf",
                   plat::REG_EXPAND_SZ);
    RegWriteString(plat::HKEY_LOCAL_MACHINE, version, "MediaPath", "%SystemRoot%\\Media",
                   plat::REG_EXPAND_SZ);
    for (const char* sub : {"App Paths", "Run", "RunOnce", "Uninstall"}) {
      CreateRegistryKey(plat::HKEY_LOCAL_MACHINE, version + "\\" + sub);
    }
    RegWriteString(plat::HKEY_LOCAL_MACHINE,
                   "SOFTWARE\\WOW6432Node\\Microsoft\\Windows NT\\CurrentVersion", "SystemRoot",
                   WindowsDirectory());
  }
}
void AddVersionValues() {
  const Profile& p = M().profile;
  if (p.platformId != plat::VER_PLATFORM_WIN32_NT || p.majorVersion < 10) return;
  std::vector<std::string> keys = {"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"};
  if (p.amd64) keys.push_back("SOFTWARE\\WOW6432Node\\Microsoft\\Windows NT\\CurrentVersion");
  for (const std::string& key : keys) {
    RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "CurrentMajorVersionNumber", p.majorVersion);
    RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "CurrentMinorVersionNumber", p.minorVersion);
  }
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

std::vector<MissingImage> MissingServiceImages() {
  return theSettings.missingImages;
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
void RecordMissingImage(const std::string& service, const std::string& image) {
  theSettings.missingImages.push_back({service, image});
}
void RecordRestart() {
  Machine& m = M();
  ++m.restartRequests;
  m.restartPending = true;
}

}  // namespace sim::detail
