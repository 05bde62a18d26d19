// The service control manager of the simulated machine.
//
// As on Windows, a service's configuration is its registry key
// HKLM\SYSTEM\CurrentControlSet\Services\<name> (Type, Start, ErrorControl,
// ImagePath, DisplayName, Group): every subkey there with a REG_DWORD Type is a
// service, so the registry functions and the service functions see one state.
// The manager itself keeps only what Windows keeps in memory: whether a
// service runs, whether it is marked for deletion, and its open handles. A
// service marked for deletion lives on (from a copy of its configuration)
// until it is stopped and its last handle is closed, or until the next start
// of the system, even when its key is deleted first.
#include <algorithm>
#include <map>
#include <unordered_set>

#include "platform/sim/simcore.h"
#include "platform/sim/stateread.h"
#include "platform/winapi.h"

namespace sim::detail {
namespace {

using plat::DWORD;

constexpr DWORD kErrorInvalidServiceControl = 1052;
constexpr DWORD kErrorDatabaseDoesNotExist = 1065;
constexpr DWORD kErrorDuplicateServiceName = 1078;
constexpr DWORD kRpcServerUnavailable = 1722;
constexpr DWORD kControlInterrogate = 4;
constexpr DWORD kAcceptStop = 1;
constexpr DWORD kServiceWin32ShareProcess = 0x20;
constexpr DWORD kServiceInteractive = 0x100;
const char kServicesKey[] = "SYSTEM\\CurrentControlSet\\Services";

// What the manager keeps about one service besides its registry key.
struct Runtime {
  std::string name;              // the service name as first seen
  bool running = false;          // started and not stopped since
  bool markedForDelete = false;  // DeleteService was called
  int openHandles = 0;           // service handles open on it
  sim::Service config;           // the configuration when it was marked for deletion
};
std::vector<Runtime> theRuntime;

std::string ServiceKey(const std::string& name) {
  return std::string(kServicesKey) + "\\" + name;
}

Runtime* FindRuntime(const std::string& name) {
  for (Runtime& r : theRuntime) {
    if (EqualNoCase(r.name, name)) return &r;
  }
  return nullptr;
}

Runtime& EnsureRuntime(const std::string& name) {
  if (Runtime* r = FindRuntime(name)) return *r;
  theRuntime.push_back({});
  theRuntime.back().name = name;
  return theRuntime.back();
}

// The configuration in the registry; none when the key holds no service.
std::optional<sim::Service> ReadConfig(const std::string& name) {
  const std::string key = ServiceKey(name);
  std::optional<DWORD> type = RegReadDword(plat::HKEY_LOCAL_MACHINE, key, "Type");
  if (!type) return std::nullopt;
  sim::Service s;
  s.name = RegKeyName(plat::HKEY_LOCAL_MACHINE, key).value_or(name);
  s.type = *type;
  s.startType =
      RegReadDword(plat::HKEY_LOCAL_MACHINE, key, "Start").value_or(plat::SERVICE_DISABLED);
  s.errorControl = RegReadDword(plat::HKEY_LOCAL_MACHINE, key, "ErrorControl").value_or(0);
  s.imagePath = RegReadString(plat::HKEY_LOCAL_MACHINE, key, "ImagePath").value_or("");
  s.displayName = RegReadString(plat::HKEY_LOCAL_MACHINE, key, "DisplayName").value_or(s.name);
  s.group = RegReadString(plat::HKEY_LOCAL_MACHINE, key, "Group").value_or("");
  return s;
}

// A service as the manager sees it: the registry's configuration with the
// runtime state, or a marked service that outlived its key.
std::optional<sim::Service> Lookup(const std::string& name) {
  Runtime* r = FindRuntime(name);
  std::optional<sim::Service> s = ReadConfig(name);
  if (!s && r && r->markedForDelete) s = r->config;
  if (!s) return std::nullopt;
  if (r) {
    s->running = r->running;
    s->markedForDelete = r->markedForDelete;
  }
  return s;
}

void WriteServiceKey(const sim::Service& s) {
  const std::string key = ServiceKey(s.name);
  RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "Type", s.type);
  RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "Start", s.startType);
  RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "ErrorControl", s.errorControl);
  RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "ImagePath", s.imagePath, plat::REG_EXPAND_SZ);
  RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "DisplayName", s.displayName);
  if (!s.group.empty()) RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "Group", s.group);
}

// Removes a service marked for deletion once it is stopped and unused; the
// manager deletes its key, as Windows does.
void CollectIfDeleted(const std::string& name) {
  Runtime* r = FindRuntime(name);
  if (!r || !r->markedForDelete || r->running || r->openHandles > 0) return;
  RegDeleteTree(plat::HKEY_LOCAL_MACHINE, ServiceKey(r->name));
  theRuntime.erase(theRuntime.begin() + (r - theRuntime.data()));
}

// The Windows path of a service's image: "\SystemRoot\...", "%SystemRoot%\...",
// "\??\C:\..." and paths relative to the Windows directory are understood.
std::string ImageWindowsPath(std::string image) {
  if (image.size() >= 2 && image.front() == '"') {
    std::size_t end = image.find('"', 1);
    image = image.substr(1, end == std::string::npos ? std::string::npos : end - 1);
  }
  std::string windows = WindowsDirectory();
  auto starts = [&](const char* prefix) {
    std::size_t n = std::char_traits<char>::length(prefix);
    return image.size() >= n && EqualNoCase(image.substr(0, n), prefix);
  };
  if (starts("\\??\\")) return image.substr(4);
  if (starts("\\SystemRoot\\")) return windows + image.substr(11);
  if (starts("%SystemRoot%")) return windows + image.substr(12);
  if (starts("%windir%")) return windows + image.substr(8);
  if (image.size() >= 2 && image[1] == ':') return image;
  return windows + "\\" + image;
}

// The image is resolved in the machine's own (64-bit) layout, whatever view
// the program that starts the service has. *where receives its Windows path.
bool ImageExists(const sim::Service& s, std::string* where) {
  // A service without an image path loads <system32>\drivers\<name>.sys.
  std::string image = s.imagePath.empty() && (s.type & 0x3) != 0
                          ? "system32\\drivers\\" + s.name + ".sys"
                          : s.imagePath;
  // A service process image may carry arguments behind the program.
  if (!image.empty() && image.front() != '"' && (s.type & 0x3) == 0) {
    std::size_t lower = Lower(image).find(".exe ");
    if (lower != std::string::npos) image.resize(lower + 4);
  }
  *where = ImageWindowsPath(image);
  Resolved r = Resolve(where->c_str());
  return r.error == 0 && r.exists && !r.isDirectory;
}

bool Start(const std::string& name, DWORD* error) {
  std::optional<sim::Service> s = Lookup(name);
  if (!s) {
    *error = plat::ERROR_SERVICE_DOES_NOT_EXIST;
  } else if (s->markedForDelete) {
    *error = plat::ERROR_SERVICE_MARKED_FOR_DELETE;
  } else if (s->startType == plat::SERVICE_DISABLED) {
    *error = plat::ERROR_SERVICE_DISABLED;
  } else if (s->running) {
    *error = plat::ERROR_SERVICE_ALREADY_RUNNING;
  } else if (std::string image; !ImageExists(*s, &image)) {
    *error = plat::ERROR_FILE_NOT_FOUND;
    RecordMissingImage(s->name, image);
  } else {
    EnsureRuntime(s->name).running = true;
    Event("[service] start: " + s->name);
    return true;
  }
  return false;
}

struct ManagerHandle : Object {};

struct ServiceHandle : Object {
  std::string name;
  explicit ServiceHandle(std::string n) : name(std::move(n)) { ++EnsureRuntime(name).openHandles; }
  ~ServiceHandle() override {
    if (Runtime* r = FindRuntime(name)) {
      --r->openHandles;
      CollectIfDeleted(name);
    }
  }
};

// The service behind a handle; none when the handle is not a service handle
// or its service has gone (its key deleted behind the manager's back).
std::optional<sim::Service> FromHandle(plat::SC_HANDLE handle, std::string* name) {
  auto* h = Find<ServiceHandle>(handle);
  if (!h) return std::nullopt;
  *name = h->name;
  return Lookup(h->name);
}

void FillStatus(const sim::Service& s, plat::SERVICE_STATUS* status) {
  if (!status) return;
  *status = plat::SERVICE_STATUS{};
  status->dwServiceType = s.type;
  status->dwCurrentState = s.running ? plat::SERVICE_RUNNING : plat::SERVICE_STOPPED;
  status->dwControlsAccepted = s.running ? kAcceptStop : 0;
}

bool ValidType(DWORD type) {
  DWORD base = type & ~kServiceInteractive;
  if (base != type && base != 0x10 && base != kServiceWin32ShareProcess) return false;
  return base == 0x1 || base == 0x2 || base == 0x10 || base == kServiceWin32ShareProcess;
}

// The services of a fresh machine: a few drivers and service processes that
// every installation of Windows of this age has, all running.
struct BaselineService {
  const char* name;
  DWORD type;
  DWORD start;
  const char* group;
  const char* image;
  const char* display;
};
constexpr BaselineService kBaseline[] = {
    {"Beep", plat::SERVICE_KERNEL_DRIVER, plat::SERVICE_SYSTEM_START, "Base",
     "system32\\DRIVERS\\beep.sys", "Beep"},
    {"Null", plat::SERVICE_KERNEL_DRIVER, plat::SERVICE_SYSTEM_START, "Base",
     "system32\\DRIVERS\\null.sys", "Null"},
    {"Tcpip", plat::SERVICE_KERNEL_DRIVER, plat::SERVICE_SYSTEM_START, "PNP_TDI",
     "system32\\DRIVERS\\tcpip.sys", "TCP/IP Protocol Driver"},
    {"Eventlog", kServiceWin32ShareProcess, plat::SERVICE_AUTO_START, "Event log",
     "%SystemRoot%\\system32\\services.exe", "Event Log"},
    {"PlugPlay", kServiceWin32ShareProcess, plat::SERVICE_AUTO_START, "PlugPlay",
     "%SystemRoot%\\system32\\services.exe", "Plug and Play"},
    {"Spooler", plat::SERVICE_WIN32_OWN_PROCESS | kServiceInteractive, plat::SERVICE_AUTO_START,
     "SpoolerGroup", "%SystemRoot%\\system32\\spoolsv.exe", "Print Spooler"},
};

// A service configuration from the state file: `node` holds the fields,
// each checked; absent ones take the defaults of CreateService.
void ReadService(const Json& node, const Where& where, const std::string& name, sim::Service* s) {
  ExpectObject(node, where);
  s->name = name;
  s->displayName = name;
  s->type = plat::SERVICE_KERNEL_DRIVER;
  s->startType = plat::SERVICE_DEMAND_START;
  s->errorControl = plat::SERVICE_ERROR_NORMAL;
  Get(node, where, "displayName", &s->displayName);
  Get(node, where, "type", &s->type);
  Get(node, where, "startType", &s->startType);
  Get(node, where, "errorControl", &s->errorControl);
  Get(node, where, "imagePath", &s->imagePath);
  Get(node, where, "group", &s->group);
}

}  // namespace

void LoadServices(const Json& state) {
  theRuntime.clear();
  std::unordered_set<std::string> seen;  // lower-case names: the first of a name wins
  if (const Json* list = Member(state, "scm")) {
    const Where where("scm");
    for (std::size_t i = 0; i < ExpectArray(*list, where).size(); ++i) {
      const Json& node = (*list)[i];
      const Where here(where, i);
      ExpectObject(node, here);
      Runtime r;
      Get(node, here, "name", &r.name);
      Get(node, here, "running", &r.running);
      Get(node, here, "markedForDelete", &r.markedForDelete);
      if (r.markedForDelete) {
        static const Json kNone = Json::object();
        const Json* config = Member(node, "config");
        ReadService(config ? *config : kNone, Where(here, "config"), r.name, &r.config);
      }
      if (r.name.empty() || !seen.insert(Lower(r.name)).second) continue;
      if (r.running || r.markedForDelete) theRuntime.push_back(std::move(r));
    }
    return;
  }
  if (const Json* list = Member(state, "services")) {
    // A state saved before the registry held the only copy of the services:
    // the configuration goes to the registry where it was missing.
    const Where where("services");
    for (std::size_t i = 0; i < ExpectArray(*list, where).size(); ++i) {
      const Json& node = (*list)[i];
      const Where here(where, i);
      sim::Service s;
      std::string name;
      Get(ExpectObject(node, here), here, "name", &name);
      ReadService(node, here, name, &s);
      Runtime r;
      Get(node, here, "running", &r.running);
      Get(node, here, "markedForDelete", &r.markedForDelete);
      if (s.name.empty() || !seen.insert(Lower(s.name)).second) continue;
      if (!ReadConfig(s.name)) WriteServiceKey(s);
      r.name = s.name;
      r.config = s;
      if (r.running || r.markedForDelete) theRuntime.push_back(std::move(r));
    }
    return;
  }
  if (Member(state, "registry")) return;
  // A fresh machine.
  for (const BaselineService& b : kBaseline) {
    sim::Service s;
    s.name = b.name;
    s.displayName = b.display;
    s.type = b.type;
    s.startType = b.start;
    s.errorControl = plat::SERVICE_ERROR_NORMAL;
    s.imagePath = b.image;
    s.group = b.group;
    WriteServiceKey(s);
    EnsureRuntime(s.name).running = true;
  }
}

void SaveServices(Json& state) {
  Json list = Json::array();
  for (const Runtime& r : theRuntime) {
    if (!r.running && !r.markedForDelete) continue;
    Json node = {{"name", r.name}, {"running", r.running}, {"markedForDelete", r.markedForDelete}};
    if (r.markedForDelete) {
      const sim::Service& c = r.config;
      node["config"] = {{"displayName", c.displayName}, {"type", c.type},
                        {"startType", c.startType},     {"errorControl", c.errorControl},
                        {"imagePath", c.imagePath},     {"group", c.group}};
    }
    list.push_back(node);
  }
  state["scm"] = list;
}

struct ServicesImage {
  std::vector<Runtime> runtime;
};

std::shared_ptr<const ServicesImage> CaptureServices() {
  return std::make_shared<ServicesImage>(ServicesImage{theRuntime});
}

void RestoreServices(const ServicesImage& image) {
  theRuntime = image.runtime;
}

std::vector<std::string> BaselineImages() {
  std::vector<std::string> images;
  for (const BaselineService& b : kBaseline) images.push_back(ImageWindowsPath(b.image));
  std::sort(images.begin(), images.end());
  images.erase(std::unique(images.begin(), images.end()), images.end());
  return images;
}

void ApplyRestart() {
  // Marked services go with the old system; the rest start by their start type.
  for (Runtime& r : theRuntime) {
    if (r.markedForDelete) {
      r.running = false;
      r.openHandles = 0;
    }
  }
  std::vector<std::string> names;
  for (const Runtime& r : theRuntime) names.push_back(r.name);
  for (const std::string& name : names) CollectIfDeleted(name);
  theRuntime.clear();
  for (const std::string& name : RegSubkeyNames(plat::HKEY_LOCAL_MACHINE, kServicesKey)) {
    std::optional<sim::Service> s = ReadConfig(name);
    std::string image;
    if (s && s->startType <= plat::SERVICE_AUTO_START && ImageExists(*s, &image)) {
      EnsureRuntime(s->name).running = true;
    }
  }
}

bool EnsureService(const std::string& name, DWORD type, DWORD start, DWORD errorControl,
                   const std::string& imagePath, const std::string& group) {
  std::optional<sim::Service> existing = Lookup(name);
  if (existing && existing->markedForDelete) return false;
  sim::Service s = existing.value_or(sim::Service{});
  if (!existing) {
    s.name = name;
    s.displayName = name;
  }
  s.type = type;
  s.startType = start;
  s.errorControl = errorControl;
  s.imagePath = imagePath;
  s.group = group;
  WriteServiceKey(s);
  return true;
}

bool StartServiceByName(const std::string& name, DWORD* error) {
  std::optional<sim::Service> s = Lookup(name);
  if (!s) {
    *error = plat::ERROR_SERVICE_DOES_NOT_EXIST;
    return false;
  }
  if (s->running) return true;
  return Start(name, error);
}

}  // namespace sim::detail

namespace sim {

std::vector<Service> Services() {
  std::vector<Service> list;
  for (const std::string& name :
       detail::RegSubkeyNames(plat::HKEY_LOCAL_MACHINE, detail::kServicesKey)) {
    if (std::optional<Service> s = detail::Lookup(name)) list.push_back(*s);
  }
  for (const detail::Runtime& r : detail::theRuntime) {
    if (!r.markedForDelete || detail::ReadConfig(r.name)) continue;
    if (std::optional<Service> s = detail::Lookup(r.name)) list.push_back(*s);
  }
  std::sort(list.begin(), list.end(), [](const Service& a, const Service& b) {
    return detail::Lower(a.name) < detail::Lower(b.name);
  });
  return list;
}

}  // namespace sim

namespace plat {

using namespace sim::detail;
using sim::Op;

SC_HANDLE OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD) {
  if (InjectFault(Op::OpenSCManager)) return nullptr;
  if (machine != nullptr && *machine != '\0')
    return Fail<SC_HANDLE>(kRpcServerUnavailable, nullptr);
  if (database != nullptr && !EqualNoCase(database, "ServicesActive")) {
    return Fail<SC_HANDLE>(kErrorDatabaseDoesNotExist, nullptr);
  }
  SetError(ERROR_SUCCESS);
  return AddHandle(std::make_unique<ManagerHandle>());
}

SC_HANDLE CreateServiceA(SC_HANDLE manager, LPCSTR name, LPCSTR displayName, DWORD,
                         DWORD serviceType, DWORD startType, DWORD errorControl, LPCSTR binaryPath,
                         LPCSTR loadOrderGroup, DWORD* tagId, LPCSTR, LPCSTR, LPCSTR) {
  if (InjectFault(Op::CreateService)) return nullptr;
  if (!Find<ManagerHandle>(manager)) return Fail<SC_HANDLE>(ERROR_INVALID_HANDLE, nullptr);
  std::string n = name ? name : "";
  if (n.empty() || n.size() > 256 || n.find_first_of("\\/") != std::string::npos) {
    return Fail<SC_HANDLE>(kErrorInvalidName, nullptr);
  }
  if (binaryPath == nullptr || *binaryPath == '\0' || !ValidType(serviceType) ||
      startType > SERVICE_DISABLED || errorControl > 3 ||
      (startType <= SERVICE_SYSTEM_START && (serviceType & 0x3) == 0)) {
    return Fail<SC_HANDLE>(ERROR_INVALID_PARAMETER, nullptr);
  }
  if (std::optional<sim::Service> existing = Lookup(n)) {
    return Fail<SC_HANDLE>(
        existing->markedForDelete ? ERROR_SERVICE_MARKED_FOR_DELETE : ERROR_SERVICE_EXISTS,
        nullptr);
  }
  std::string display = displayName && *displayName ? displayName : n;
  for (const sim::Service& s : sim::Services()) {
    if (EqualNoCase(s.displayName, display) || EqualNoCase(s.name, display)) {
      return Fail<SC_HANDLE>(kErrorDuplicateServiceName, nullptr);
    }
  }
  sim::Service s;
  s.name = n;
  s.displayName = display;
  s.type = serviceType;
  s.startType = startType;
  s.errorControl = errorControl;
  s.imagePath = binaryPath;
  s.group = loadOrderGroup ? loadOrderGroup : "";
  // A leftover runtime record of a service whose key was deleted starts afresh.
  if (Runtime* stale = FindRuntime(n)) {
    stale->running = false;
    stale->name = n;
  }
  WriteServiceKey(s);
  if (tagId) *tagId = 0;
  SetError(ERROR_SUCCESS);
  return AddHandle(std::make_unique<ServiceHandle>(n));
}

SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD) {
  if (InjectFault(Op::OpenService)) return nullptr;
  if (!Find<ManagerHandle>(manager)) return Fail<SC_HANDLE>(ERROR_INVALID_HANDLE, nullptr);
  if (name == nullptr || *name == '\0') return Fail<SC_HANDLE>(kErrorInvalidName, nullptr);
  std::optional<sim::Service> s = Lookup(name);
  if (!s) return Fail<SC_HANDLE>(ERROR_SERVICE_DOES_NOT_EXIST, nullptr);
  SetError(ERROR_SUCCESS);
  return AddHandle(std::make_unique<ServiceHandle>(s->name));
}

BOOL StartServiceA(SC_HANDLE service, DWORD, LPCSTR*) {
  if (InjectFault(Op::StartService)) return FALSE;
  std::string name;
  if (!Find<ServiceHandle>(service)) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (!FromHandle(service, &name)) return Fail(ERROR_SERVICE_DOES_NOT_EXIST, FALSE);
  DWORD code = 0;
  if (!Start(name, &code)) return Fail(code, FALSE);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL ControlService(SC_HANDLE service, DWORD control, SERVICE_STATUS* status) {
  if (InjectFault(Op::ControlService)) return FALSE;
  std::string name;
  if (!Find<ServiceHandle>(service)) return Fail(ERROR_INVALID_HANDLE, FALSE);
  std::optional<sim::Service> s = FromHandle(service, &name);
  if (!s) return Fail(ERROR_SERVICE_DOES_NOT_EXIST, FALSE);
  if (status == nullptr) return Fail(ERROR_INVALID_PARAMETER, FALSE);
  if (control != SERVICE_CONTROL_STOP && control != kControlInterrogate) {
    FillStatus(*s, status);
    return Fail(kErrorInvalidServiceControl, FALSE);
  }
  if (!s->running) {
    FillStatus(*s, status);
    return Fail(ERROR_SERVICE_NOT_ACTIVE, FALSE);
  }
  if (control == SERVICE_CONTROL_STOP) {
    EnsureRuntime(name).running = false;
    s->running = false;
    Event("[service] stop: " + s->name);
  }
  FillStatus(*s, status);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL QueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status) {
  if (InjectFault(Op::QueryServiceStatus)) return FALSE;
  std::string name;
  if (!Find<ServiceHandle>(service)) return Fail(ERROR_INVALID_HANDLE, FALSE);
  std::optional<sim::Service> s = FromHandle(service, &name);
  if (!s) return Fail(ERROR_SERVICE_DOES_NOT_EXIST, FALSE);
  if (status == nullptr) return Fail(kErrorNoAccess, FALSE);
  FillStatus(*s, status);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL DeleteService(SC_HANDLE service) {
  if (InjectFault(Op::DeleteService)) return FALSE;
  std::string name;
  if (!Find<ServiceHandle>(service)) return Fail(ERROR_INVALID_HANDLE, FALSE);
  std::optional<sim::Service> s = FromHandle(service, &name);
  if (!s) return Fail(ERROR_SERVICE_DOES_NOT_EXIST, FALSE);
  if (s->markedForDelete) return Fail(ERROR_SERVICE_MARKED_FOR_DELETE, FALSE);
  Runtime& r = EnsureRuntime(name);
  r.markedForDelete = true;
  r.config = *s;
  r.config.running = false;
  r.config.markedForDelete = false;
  Event("[service] delete: " + s->name);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL CloseServiceHandle(SC_HANDLE handle) {
  if (!Find<ManagerHandle>(handle) && !Find<ServiceHandle>(handle)) {
    return Fail(ERROR_INVALID_HANDLE, FALSE);
  }
  RemoveHandle(handle);
  return TRUE;
}

}  // namespace plat
