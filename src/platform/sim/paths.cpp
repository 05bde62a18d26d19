// Path resolution of the simulated machine: Windows paths, relative to the
// simulated current directory, mapped to paths of the file store with
// case-insensitive matching of existing entries.
#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "platform/sim/simcore.h"

namespace sim::detail {

namespace {

bool IsInvalidNameChar(char c, bool wildcard) {
  auto u = static_cast<unsigned char>(c);
  if (u < 32) return true;
  if (c == '*' || c == '?') return !wildcard;
  return c == '<' || c == '>' || c == ':' || c == '"' || c == '|';
}

// Appends the components of a '\\'-separated path to *parts, as views into it.
void SplitComponents(std::string_view text, std::vector<std::string_view>* parts) {
  std::size_t start = 0;
  for (std::size_t cut = text.find('\\'); cut != std::string_view::npos;
       cut = text.find('\\', start)) {
    parts->push_back(text.substr(start, cut - start));
    start = cut + 1;
  }
  parts->push_back(text.substr(start));
}

}  // namespace

// ---- Names ----------------------------------------------------------------------------

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

std::string WindowsDirectory() {
  const std::string& system = GetProfile().systemDirectory;
  std::size_t cut = system.find_last_of('\\');
  if (cut == std::string::npos || cut < 2) return "C:\\WINDOWS";
  return system.substr(0, cut);
}

// ---- The WOW64 file system redirector ---------------------------------------------------

bool Wow64View() {
  return sim::Wow64Process() && GetProfile().amd64;
}

void RedirectForWow64(char drive, std::vector<std::string_view>* comps) {
  static constexpr std::string_view kSysWow64 = "SysWOW64";
  static constexpr std::string_view kSysnative = "Sysnative";
  const Profile& profile = GetProfile();
  std::string_view system = profile.systemDirectory;
  if (system.size() < 3 || system[1] != ':' ||
      std::toupper(static_cast<unsigned char>(system[0])) != drive) {
    return;
  }
  // The Windows directory's components, and the system directory's own name.
  std::vector<std::string_view> windows;
  SplitComponents(system.substr(3), &windows);
  if (windows.empty() || windows.back().empty()) return;
  const std::string_view systemName = windows.back();
  windows.pop_back();
  std::vector<std::string_view>& c = *comps;
  const std::size_t at = windows.size();  // the component below the Windows directory
  if (c.size() <= at) return;
  for (std::size_t i = 0; i < at; ++i) {
    if (!EqualNoCase(c[i], windows[i])) return;
  }
  auto is = [&c](std::size_t i, std::string_view name) {
    return i < c.size() && EqualNoCase(c[i], name);
  };
  if (is(at, systemName)) {
    // The exempt subdirectories stay in the real system directory.
    bool exempt =
        is(at + 1, "catroot") || is(at + 1, "catroot2") || is(at + 1, "logfiles") ||
        is(at + 1, "spool") || (is(at + 1, "drivers") && is(at + 2, "etc")) ||
        (is(at + 1, "driverstore") &&
         (profile.majorVersion > 6 || (profile.majorVersion == 6 && profile.minorVersion >= 1)));
    if (!exempt) c[at] = kSysWow64;
  } else if (is(at, kSysnative) && profile.majorVersion >= 6) {
    // The alias of the real system directory (from Windows Vista on).
    c[at] = systemName;
  } else if (is(at, "lastgood") && is(at + 1, systemName)) {
    c[at + 1] = kSysWow64;
  } else if (is(at, "regedit.exe") && c.size() == at + 1) {
    c.insert(c.begin() + static_cast<std::ptrdiff_t>(at), kSysWow64);
  }
}

// ---- Paths ------------------------------------------------------------------------------

Resolved Resolve(const char* path, bool wildcardLast) {
  return ResolveIn(path, wildcardLast, false);
}

Resolved ResolveInProcess(const char* path, bool wildcardLast) {
  return ResolveIn(path, wildcardLast, Wow64View());
}

Resolved ResolveIn(const char* path, bool wildcardLast, bool wow64) {
  Resolved r;
  if (path == nullptr) {
    r.error = plat::ERROR_INVALID_PARAMETER;
    return r;
  }
  std::string text(path);
  if (text.empty()) {
    r.error = plat::ERROR_PATH_NOT_FOUND;
    return r;
  }
  if (text.size() >= plat::MAX_PATH) {
    r.error = kErrorFilenameTooLong;
    return r;
  }
  std::replace(text.begin(), text.end(), '/', '\\');
  if (text.rfind("\\\\?\\", 0) == 0) text.erase(0, 4);
  if (text.rfind("\\\\", 0) == 0) {
    r.error = kErrorBadNetPath;
    return r;
  }

  // The current directory: an absolute path by construction of the profile.
  // The components below are views into `text` and the profile, which stay
  // unchanged while the path is resolved.
  const Profile& profile = GetProfile();
  std::string_view cwd =
      profile.currentDirectory.empty() ? profile.systemDirectory : profile.currentDirectory;
  char cwdDrive = 'C';
  std::string_view cwdRest;
  if (cwd.size() >= 2 && std::isalpha(static_cast<unsigned char>(cwd[0])) && cwd[1] == ':') {
    cwdDrive = static_cast<char>(std::toupper(static_cast<unsigned char>(cwd[0])));
    cwdRest = cwd.substr(2);
  }

  char drive = cwdDrive;
  std::vector<std::string_view> raw;
  raw.reserve(16);
  std::string_view rest = text;
  if (text.size() >= 2 && std::isalpha(static_cast<unsigned char>(text[0])) && text[1] == ':') {
    drive = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    rest.remove_prefix(2);
    if (rest.empty() || rest[0] != '\\') {
      if (drive == cwdDrive) SplitComponents(cwdRest, &raw);
    }
  } else if (text[0] != '\\') {
    SplitComponents(cwdRest, &raw);
  }
  std::size_t firstGiven = raw.size();
  SplitComponents(rest, &raw);

  std::vector<std::string_view> comps;
  comps.reserve(raw.size());
  for (std::size_t i = 0; i < raw.size(); ++i) {
    std::string_view c = raw[i];
    bool last = i + 1 == raw.size();
    bool pattern = wildcardLast && last && i >= firstGiven;
    if (c.empty() || c == ".") continue;
    if (c == "..") {
      if (!comps.empty()) comps.pop_back();
      continue;
    }
    if (!pattern) {
      // Windows ignores trailing dots and blanks of a name.
      while (!c.empty() && (c.back() == '.' || c.back() == ' ')) c.remove_suffix(1);
      if (c.empty()) continue;
    }
    if (c.size() > 255) {
      r.error = kErrorFilenameTooLong;
      return r;
    }
    for (char ch : c) {
      if (IsInvalidNameChar(ch, pattern)) {
        r.error = kErrorInvalidName;
        return r;
      }
    }
    comps.push_back(c);
  }
  if (wow64) RedirectForWow64(drive, &comps);

  FileStore& files = Files();
  std::string relative(1, drive);
  relative.reserve(text.size() + cwd.size());
  std::optional<StoreEntry> root = files.Stat(relative);
  if (!root || !root->isDirectory) {
    // The drive of the system directory always exists, even when the profile
    // has just moved the system directory there.
    const std::string& system = profile.systemDirectory;
    bool systemDrive = system.size() >= 2 && system[1] == ':' &&
                       std::toupper(static_cast<unsigned char>(system[0])) == drive;
    if (!systemDrive || !files.MakeDirectories(relative)) {
      r.error = plat::ERROR_PATH_NOT_FOUND;
      return r;
    }
  }
  r.windows.reserve(text.size() + cwd.size());
  r.windows += drive;
  r.windows += ":\\";
  bool exists = true;  // every component so far exists
  bool isDirectory = true;
  r.parentExists = true;
  // The store path is built as the components are matched, in their stored
  // spelling where they exist.
  for (std::size_t i = 0; i < comps.size(); ++i) {
    if (i + 1 == comps.size()) r.parentExists = exists && isDirectory;
    std::optional<StoreEntry> entry;
    if (exists && isDirectory) entry = files.Match(relative, comps[i]);
    if (entry) {
      isDirectory = entry->isDirectory;
    } else {
      exists = false;
      isDirectory = false;
    }
    relative += '/';
    relative += entry ? entry->name : comps[i];
    if (i > 0) r.windows += '\\';
    r.windows += comps[i];
  }
  r.key = Lower(relative);
  r.path = std::move(relative);
  r.exists = exists;
  r.isDirectory = exists && isDirectory;
  r.name = comps.empty() ? std::string() : std::string(comps.back());
  return r;
}

}  // namespace sim::detail
