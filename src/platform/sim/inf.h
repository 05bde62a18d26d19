// The INF reader of the simulated machine's device manager.
//
// It reads INF files as Windows' INF parser does: sections in brackets
// (duplicates merged), "key = value, value" lines, ';' comments outside
// quotes, "" inside quotes, '\' at the end of a line to continue it,
// ANSI, UTF-8 and UTF-16LE text, %strkey% substitution from [Strings] and the
// %NN% directory ids. Over that it answers what device installation needs:
// the [Version] class, the model that names a hardware id in the
// [Manufacturer] models sections (with NTx86/NTamd64 and version decorations),
// the decorated install section, its CopyFiles with [DestinationDirs] and the
// services its .Services section adds.
//
// A damaged or hostile file gives an INF error code (ERROR_EXPECTED_SECTION_NAME
// and friends, as Windows' parser answers) and never reads past its input;
// texts are bounded so that substitution cannot blow up.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/winapi.h"

namespace sim::detail {

std::string GuidText(const plat::GUID& g);
bool ParseGuid(std::string text, plat::GUID* g);
bool SameGuid(const plat::GUID& a, const plat::GUID& b);

// INF parser errors (APPLICATION_ERROR_MASK | ERROR_SEVERITY_ERROR | n).
constexpr plat::DWORD kErrorExpectedSectionName = 0xE0000000u;
constexpr plat::DWORD kErrorBadSectionNameLine = 0xE0000001u;
constexpr plat::DWORD kErrorSectionNameTooLong = 0xE0000002u;
constexpr plat::DWORD kErrorGeneralSyntax = 0xE0000003u;
constexpr plat::DWORD kErrorWrongInfStyle = 0xE0000100u;

// Limits of the reader: a longer file, section name or field is an error.
constexpr std::size_t kMaxInfSize = 16u << 20;
constexpr std::size_t kMaxSectionName = 255;
constexpr std::size_t kMaxFieldLength = 4096;

// One line: its key (empty when the line has no '='), its comma-separated
// fields with quotes removed and strings substituted, in order.
struct InfLine {
  std::string key;
  std::vector<std::string> fields;
};

class Inf {
 public:
  // Parses INF text; none with *error when the text is not a valid INF.
  static std::optional<Inf> Parse(std::string_view bytes, plat::DWORD* error);

  bool HasSection(std::string_view name) const;
  // The lines of a section (empty when there is none).
  const std::vector<InfLine>& Lines(std::string_view name) const;
  // The first field of the first line with the key, or "".
  std::string Value(std::string_view section, std::string_view key) const;
  // Every field of the first line with the key.
  std::vector<std::string> Values(std::string_view section, std::string_view key) const;

 private:
  std::map<std::string, std::vector<InfLine>> m_Sections;  // by lower-case name
};

// Reads and parses an INF from the simulated file system.
std::optional<Inf> ReadInf(plat::LPCSTR path, plat::DWORD* error);

// The platform an INF's decorations are chosen for.
struct InfPlatform {
  bool amd64 = false;  // 64-bit Windows (NTamd64), else NTx86
  plat::DWORD major = 5;
  plat::DWORD minor = 1;
};

// Class name and GUID of [Version]; false with *error when neither is given
// or the GUID is malformed.
bool InfClass(const Inf& inf, std::string* className, plat::GUID* guid, plat::DWORD* error);

// What [Version] says about the driver package.
struct InfVersion {
  std::string provider;
  std::string driverDate;     // "03/14/2008"
  std::string driverVersion;  // "2.4.1.0"
  std::string catalogFile;
};
InfVersion ReadVersion(const Inf& inf, const InfPlatform& platform);

// The model of the INF that names `hardwareId` (as a hardware or compatible
// id, letter case ignored) for this platform.
struct InfModel {
  std::string description;     // the model's text, substituted
  std::string installSection;  // as written in the models section
  std::string decorated;       // the install section that applies ("X.NTamd64", "X.NT", "X")
  std::string matchingId;      // the id of the model line that matched, lower case
  std::string manufacturer;
};
std::optional<InfModel> FindModel(const Inf& inf, const std::string& hardwareId,
                                  const InfPlatform& platform);

// A file that CopyFiles of an install section copies.
struct InfCopy {
  std::string source;       // file name in the package
  std::string sourceDir;    // subdirectory of the package ("" for its root)
  std::string destination;  // full Windows path
};
std::vector<InfCopy> CopyFiles(const Inf& inf, const std::string& installSection,
                               const std::string& windowsDir, const InfPlatform& platform);

struct InfService {
  std::string name;
  plat::DWORD flags = 0;
  plat::DWORD type = plat::SERVICE_KERNEL_DRIVER;
  plat::DWORD start = plat::SERVICE_DEMAND_START;
  plat::DWORD errorControl = plat::SERVICE_ERROR_NORMAL;
  std::string binary;
  std::string group;
  std::string displayName;
};
// The AddService lines of "<install section>.Services".
std::vector<InfService> InstallServices(const Inf& inf, const std::string& installSection,
                                        const std::string& windowsDir);

// The Windows path of a directory id (10 Windows, 11 system32, 12 drivers,
// 17 inf, ...) with an optional subdirectory; none for an unknown id.
std::optional<std::string> DirectoryOfId(const std::string& id, const std::string& windowsDir);

}  // namespace sim::detail
