// A read-only view of the simulated machine for tools: the registry tree, the
// files and directories, and the services (sim::Services in machine.h). The
// answers are copies, taken when called; nothing here changes the machine or
// the thread's last error, and key security does not hide anything.
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

struct RegistryValue {
  std::string name;                // "" for the key's default value
  plat::DWORD type = plat::REG_NONE;
  std::vector<std::uint8_t> data;  // the bytes as stored (texts with their NUL)
};

struct RegistryKey {
  std::string name;                    // its own spelling; a root has its full name
  std::vector<RegistryValue> values;   // in the order they were first written
  std::vector<RegistryKey> subkeys;    // ordered by name without regard to case
  std::optional<plat::REGSAM> rights;  // access a restricted key grants; none = full access
  bool openToEveryone = false;         // a present, null DACL was applied to it
};

// "HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS".
const std::vector<std::string>& RegistryRootNames();
// The root handle for a full name or its short form (HKCR, HKCU, HKLM, HKU),
// without regard to case; none for anything else.
std::optional<plat::HKEY> RegistryRoot(std::string_view name);
// Splits "HKLM\SOFTWARE\Acme" into the root and "SOFTWARE\Acme"; false when
// the first component names no root.
bool SplitKeyPath(std::string_view fullPath, plat::HKEY* root, std::string* path);
// The key at `path` below `root` ("" for the root itself) with everything
// below it; none when it does not exist.
std::optional<RegistryKey> RegistryTree(plat::HKEY root, const std::string& path = "");

// ---- Files ------------------------------------------------------------------------------

struct FileEntry {
  std::string path;         // "C:\WINDOWS\inf\oem0.inf", in the machine's spelling
  bool directory = false;
  std::uint64_t size = 0;   // 0 for directories
  plat::DWORD attributes = 0;  // as GetFileAttributesA answers
};

// Every file and directory on every drive (drive roots left out), ordered by
// path without regard to case, parents before their contents.
std::vector<FileEntry> FileTree();

}  // namespace sim
