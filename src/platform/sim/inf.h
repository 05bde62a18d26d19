// The INF reader of the simulated machine's device manager: sections and
// lines of an INF file, [Strings] substitution, the class of [Version], the
// models that name a hardware id and the services an install section adds.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/winapi.h"

namespace sim::detail {

std::string GuidText(const plat::GUID& g);
bool ParseGuid(std::string text, plat::GUID* g);
bool SameGuid(const plat::GUID& a, const plat::GUID& b);

struct InfLine {
  std::string key;
  std::string value;
};
struct Inf {
  std::map<std::string, std::vector<InfLine>> sections;  // by lower-case name

  const std::vector<InfLine>* Section(const std::string& name) const;
  std::string Get(const std::string& section, const std::string& key) const;
};

std::string Unquote(std::string text);
// Replaces %strkey% with [Strings] values and the directory ids 10, 11, 12.
std::string Expand(const Inf& inf, const std::string& text);
bool ReadInf(plat::LPCSTR path, Inf* inf, plat::DWORD* error);
// Class name and GUID of an INF's [Version] section.
bool InfClass(const Inf& inf, std::string* className, plat::GUID* guid, plat::DWORD* error);
// The install section and description of the model that names `hardwareId`.
bool FindModel(const Inf& inf, const std::string& hardwareId, std::string* install,
               std::string* description);

struct InfService {
  std::string name;
  plat::DWORD flags = 0;
  plat::DWORD type = plat::SERVICE_KERNEL_DRIVER;
  plat::DWORD start = plat::SERVICE_DEMAND_START;
  plat::DWORD errorControl = plat::SERVICE_ERROR_NORMAL;
  std::string binary;
  std::string group;
};
std::vector<InfService> InstallServices(const Inf& inf, const std::string& install);

}  // namespace sim::detail
