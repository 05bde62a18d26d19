#include "base/windir.h"

#include <cstring>

#include "platform/winapi.h"

namespace setup {

int GetWinDir(std::optional<std::string>& slot) {
  char buffer[256] = {};
  plat::GetSystemDirectoryA(buffer, sizeof buffer - 1);
  buffer[sizeof buffer - 1] = '\0';
  char* backslash = std::strrchr(buffer, '\\');
  if (backslash == nullptr) return 0;
  *backslash = '\0';
  slot = std::string(buffer);
  return 1;
}

}  // namespace setup
