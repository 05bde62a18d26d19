// A read-only view of the simulated machine for tools: the files and
// directories, registry root names and key paths; the registry tree itself is
// ReadRegistryKey and the services Services (machine.h). The answers are
// copies, taken when called; nothing here changes the machine or the thread's
// last error, and key security does not hide anything.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sim/machine.h"
#include "platform/winapi.h"

namespace sim {

// ---- Registry ---------------------------------------------------------------------------

// "HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS".
const std::vector<std::string>& RegistryRootNames();
// The root handle for a full name or its short form (HKCR, HKCU, HKLM, HKU),
// without regard to case; none for anything else.
std::optional<plat::HKEY> RegistryRoot(std::string_view name);
// Splits "HKLM\SOFTWARE\Acme" into the root and "SOFTWARE\Acme"; false when
// the first component names no root.
bool SplitKeyPath(std::string_view fullPath, plat::HKEY* root, std::string* path);

// ---- Files ------------------------------------------------------------------------------

struct FileEntry {
  std::string path;  // "C:\WINDOWS\inf\oem0.inf", in the machine's spelling
  bool directory = false;
  std::uint64_t size = 0;      // 0 for directories
  plat::DWORD attributes = 0;  // as GetFileAttributesA answers
};

// Every file and directory on every drive (drive roots left out), ordered by
// path without regard to case, parents before their contents.
std::vector<FileEntry> FileTree();

}  // namespace sim
