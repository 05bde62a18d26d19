// The Windows directory, which start-up and the package reader both need.
#pragma once

#include <optional>
#include <string>

namespace setup {

// The Windows directory: the system directory cut at its last backslash.
[[nodiscard]] int GetWinDir(std::optional<std::string>& slot);

}  // namespace setup
