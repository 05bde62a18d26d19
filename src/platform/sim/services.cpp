// The service control manager of the simulated machine. Services are kept in
// its database (persisted) and mirrored into the registry under
// HKLM\SYSTEM\CurrentControlSet\Services\<name>, as Windows does.
#include <algorithm>
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
const char kServicesKey[] = "SYSTEM\\CurrentControlSet\\Services\\";

struct ServiceRecord {
  sim::Service info;
  int openHandles = 0;
};
std::vector<ServiceRecord> theServices;

ServiceRecord* FindService(const std::string& name) {
  for (ServiceRecord& s : theServices) {
    if (EqualNoCase(s.info.name, name)) return &s;
  }
  return nullptr;
}

void WriteServiceKey(const sim::Service& s) {
  std::string key = kServicesKey + s.name;
  RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "Type", s.type);
  RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "Start", s.startType);
  RegWriteDword(plat::HKEY_LOCAL_MACHINE, key, "ErrorControl", s.errorControl);
  RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "ImagePath", s.imagePath);
  RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "DisplayName", s.displayName);
  if (!s.group.empty()) RegWriteString(plat::HKEY_LOCAL_MACHINE, key, "Group", s.group);
}

// Removes a service marked for deletion once it is stopped and unused.
void CollectIfDeleted(const std::string& name) {
  ServiceRecord* s = FindService(name);
  if (!s || !s->info.markedForDelete || s->info.running || s->openHandles > 0) return;
  RegDeleteTree(plat::HKEY_LOCAL_MACHINE, kServicesKey + s->info.name);
  theServices.erase(theServices.begin() + (s - theServices.data()));
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

bool ImageExists(const sim::Service& s) {
  Resolved r = Resolve(ImageWindowsPath(s.imagePath).c_str());
  return r.error == 0 && r.exists && !r.isDirectory;
}

bool Start(ServiceRecord& s, DWORD* error) {
  if (s.info.markedForDelete) {
    *error = plat::ERROR_SERVICE_MARKED_FOR_DELETE;
  } else if (s.info.startType == plat::SERVICE_DISABLED) {
    *error = plat::ERROR_SERVICE_DISABLED;
  } else if (s.info.running) {
    *error = plat::ERROR_SERVICE_ALREADY_RUNNING;
  } else if (!ImageExists(s.info)) {
    *error = plat::ERROR_FILE_NOT_FOUND;
  } else {
    s.info.running = true;
    Event("[service] start: " + s.info.name);
    return true;
  }
  return false;
}

struct ManagerHandle : Object {};

struct ServiceHandle : Object {
  std::string name;
  explicit ServiceHandle(std::string n) : name(std::move(n)) {
    if (ServiceRecord* s = FindService(name)) ++s->openHandles;
  }
  ~ServiceHandle() override {
    if (ServiceRecord* s = FindService(name)) {
      --s->openHandles;
      CollectIfDeleted(name);
    }
  }
};

ServiceRecord* FromHandle(plat::SC_HANDLE handle) {
  auto* h = Find<ServiceHandle>(handle);
  return h ? FindService(h->name) : nullptr;
}

void FillStatus(const sim::Service& s, plat::SERVICE_STATUS* status) {
  if (!status) return;
  *status = plat::SERVICE_STATUS{};
  status->dwServiceType = s.type;
  status->dwCurrentState = s.running ? plat::SERVICE_RUNNING : plat::SERVICE_STOPPED;
  status->dwControlsAccepted = s.running ? kAcceptStop : 0;
}

bool ValidType(DWORD type) {
  DWORD base = type & ~0x100u;  // SERVICE_INTERACTIVE_PROCESS
  if (base != type && base != 0x10 && base != 0x20) return false;
  return base == 0x1 || base == 0x2 || base == 0x10 || base == 0x20;
}

}  // namespace

void LoadServices(const Json& state) {
  theServices.clear();
  const Json* list = Member(state, "services");
  if (!list) return;
  const Where where("services");
  std::unordered_set<std::string> seen;  // lower-case names: the first of a name wins
  for (std::size_t i = 0; i < ExpectArray(*list, where).size(); ++i) {
    const Json& node = (*list)[i];
    const Where here(where, i);
    ExpectObject(node, here);
    ServiceRecord record;
    sim::Service& s = record.info;
    s.type = plat::SERVICE_KERNEL_DRIVER;
    s.startType = plat::SERVICE_DEMAND_START;
    s.errorControl = plat::SERVICE_ERROR_NORMAL;
    Get(node, here, "name", &s.name);
    s.displayName = s.name;
    Get(node, here, "displayName", &s.displayName);
    Get(node, here, "type", &s.type);
    Get(node, here, "startType", &s.startType);
    Get(node, here, "errorControl", &s.errorControl);
    Get(node, here, "imagePath", &s.imagePath);
    Get(node, here, "group", &s.group);
    Get(node, here, "running", &s.running);
    Get(node, here, "markedForDelete", &s.markedForDelete);
    if (s.name.empty() || !seen.insert(Lower(s.name)).second) continue;
    theServices.push_back(std::move(record));
  }
}

void SaveServices(Json& state) {
  Json list = Json::array();
  for (const ServiceRecord& record : theServices) {
    const sim::Service& s = record.info;
    list.push_back({{"name", s.name},
                    {"displayName", s.displayName},
                    {"type", s.type},
                    {"startType", s.startType},
                    {"errorControl", s.errorControl},
                    {"imagePath", s.imagePath},
                    {"group", s.group},
                    {"running", s.running},
                    {"markedForDelete", s.markedForDelete}});
  }
  state["services"] = list;
}

void ApplyRestart() {
  for (ServiceRecord& s : theServices) {
    if (s.info.markedForDelete) s.info.running = false;
  }
  std::vector<std::string> names;
  for (const ServiceRecord& s : theServices) names.push_back(s.info.name);
  for (const std::string& name : names) CollectIfDeleted(name);
  for (ServiceRecord& s : theServices) {
    s.info.running = s.info.startType <= plat::SERVICE_AUTO_START && ImageExists(s.info);
  }
}

bool EnsureService(const std::string& name, DWORD type, DWORD start, DWORD errorControl,
                   const std::string& imagePath, const std::string& group) {
  ServiceRecord* s = FindService(name);
  if (s && s->info.markedForDelete) return false;
  if (!s) {
    theServices.push_back({});
    s = &theServices.back();
    s->info.name = name;
    s->info.displayName = name;
  }
  s->info.type = type;
  s->info.startType = start;
  s->info.errorControl = errorControl;
  s->info.imagePath = imagePath;
  s->info.group = group;
  WriteServiceKey(s->info);
  return true;
}

bool StartServiceByName(const std::string& name, DWORD* error) {
  ServiceRecord* s = FindService(name);
  if (!s) {
    *error = plat::ERROR_SERVICE_DOES_NOT_EXIST;
    return false;
  }
  if (s->info.running) return true;
  return Start(*s, error);
}

}  // namespace sim::detail

namespace sim {

std::vector<Service> Services() {
  std::vector<Service> list;
  for (const auto& record : detail::theServices) list.push_back(record.info);
  return list;
}

}  // namespace sim

namespace plat {

using namespace sim::detail;
using sim::Op;

SC_HANDLE OpenSCManagerA(LPCSTR machine, LPCSTR database, DWORD) {
  DWORD code = 0;
  if (Inject(Op::OpenSCManager, &code)) return Fail<SC_HANDLE>(code, nullptr);
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
  DWORD code = 0;
  if (Inject(Op::CreateService, &code)) return Fail<SC_HANDLE>(code, nullptr);
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
  if (ServiceRecord* existing = FindService(n)) {
    return Fail<SC_HANDLE>(
        existing->info.markedForDelete ? ERROR_SERVICE_MARKED_FOR_DELETE : ERROR_SERVICE_EXISTS,
        nullptr);
  }
  std::string display = displayName && *displayName ? displayName : n;
  for (const ServiceRecord& s : theServices) {
    if (EqualNoCase(s.info.displayName, display) || EqualNoCase(s.info.name, display)) {
      return Fail<SC_HANDLE>(kErrorDuplicateServiceName, nullptr);
    }
  }
  ServiceRecord record;
  record.info.name = n;
  record.info.displayName = display;
  record.info.type = serviceType;
  record.info.startType = startType;
  record.info.errorControl = errorControl;
  record.info.imagePath = binaryPath;
  record.info.group = loadOrderGroup ? loadOrderGroup : "";
  theServices.push_back(record);
  WriteServiceKey(record.info);
  if (tagId) *tagId = 0;
  SetError(ERROR_SUCCESS);
  return AddHandle(std::make_unique<ServiceHandle>(n));
}

SC_HANDLE OpenServiceA(SC_HANDLE manager, LPCSTR name, DWORD) {
  DWORD code = 0;
  if (Inject(Op::OpenService, &code)) return Fail<SC_HANDLE>(code, nullptr);
  if (!Find<ManagerHandle>(manager)) return Fail<SC_HANDLE>(ERROR_INVALID_HANDLE, nullptr);
  if (name == nullptr || *name == '\0') return Fail<SC_HANDLE>(kErrorInvalidName, nullptr);
  ServiceRecord* s = FindService(name);
  if (!s) return Fail<SC_HANDLE>(ERROR_SERVICE_DOES_NOT_EXIST, nullptr);
  SetError(ERROR_SUCCESS);
  return AddHandle(std::make_unique<ServiceHandle>(s->info.name));
}

BOOL StartServiceA(SC_HANDLE service, DWORD, LPCSTR*) {
  DWORD code = 0;
  if (Inject(Op::StartService, &code)) return Fail(code, FALSE);
  ServiceRecord* s = FromHandle(service);
  if (!s) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (!Start(*s, &code)) return Fail(code, FALSE);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL ControlService(SC_HANDLE service, DWORD control, SERVICE_STATUS* status) {
  DWORD code = 0;
  if (Inject(Op::ControlService, &code)) return Fail(code, FALSE);
  ServiceRecord* s = FromHandle(service);
  if (!s) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (status == nullptr) return Fail(ERROR_INVALID_PARAMETER, FALSE);
  if (control != SERVICE_CONTROL_STOP && control != kControlInterrogate) {
    FillStatus(s->info, status);
    return Fail(kErrorInvalidServiceControl, FALSE);
  }
  if (!s->info.running) {
    FillStatus(s->info, status);
    return Fail(ERROR_SERVICE_NOT_ACTIVE, FALSE);
  }
  if (control == SERVICE_CONTROL_STOP) {
    s->info.running = false;
    Event("[service] stop: " + s->info.name);
  }
  FillStatus(s->info, status);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL QueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status) {
  DWORD code = 0;
  if (Inject(Op::QueryServiceStatus, &code)) return Fail(code, FALSE);
  ServiceRecord* s = FromHandle(service);
  if (!s) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (status == nullptr) return Fail(kErrorNoAccess, FALSE);
  FillStatus(s->info, status);
  SetError(ERROR_SUCCESS);
  return TRUE;
}

BOOL DeleteService(SC_HANDLE service) {
  DWORD code = 0;
  if (Inject(Op::DeleteService, &code)) return Fail(code, FALSE);
  ServiceRecord* s = FromHandle(service);
  if (!s) return Fail(ERROR_INVALID_HANDLE, FALSE);
  if (s->info.markedForDelete) return Fail(ERROR_SERVICE_MARKED_FOR_DELETE, FALSE);
  s->info.markedForDelete = true;
  Event("[service] delete: " + s->info.name);
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
