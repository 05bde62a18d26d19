// Registry export files against the simulated machine's registry: importing a
// file into it and exporting it, whole or one key, in a stable order.
#pragma once

#include <optional>
#include <string>

#include "regfile.h"

namespace regsim {

// Applies a parsed file to the machine in file order: keys created or deleted
// with everything below them, values set or deleted. Answers false with
// *error ("line N: ...") when the machine refuses a key; the parser's limits
// are the machine's, so a file that parsed is applied whole.
[[nodiscard]] bool Import(const regfile::File& file, std::string* error);

// The registry as a file: every key below the four roots (or below one key),
// depth first, subkeys in the registry's order (KeyOrderName), values by name
// without regard to case, the default value first. None when the key does not
// exist.
std::optional<regfile::File> Export();
std::optional<regfile::File> Export(regfile::Root root, const std::string& path);

// "HKLM\SOFTWARE\Acme" or "HKEY_LOCAL_MACHINE\SOFTWARE\Acme" (the roots of the
// key lines of a file) to a root and a path below it; none when the root is unknown.
std::optional<std::pair<regfile::Root, std::string>> ParseKeyName(const std::string& text);

// A key name as Windows orders subkeys: compared in upper case, so "SubB"
// comes before "Sub_x".
std::string KeyOrderName(std::string name);

}  // namespace regsim
