// The resource package appended to the module file, and its reader.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace setup {

constexpr std::uint32_t kPackageHeaderWord = 4;
constexpr std::uint32_t kPackageEntrySize = 272;
constexpr std::uint32_t kPackageTrailerSize = 12;
constexpr std::uint32_t kPackageNameSize = 256;

// Finds the entry with the extension "CXX" (any case), writes it to
// <Windows directory>\<entry name> and stores that path in `path`. 0 on failure.
[[nodiscard]] int GetScriptFromPackage(std::optional<std::string>& path);
// Writes the entry `name` (exact match) to `destination`. 0 on failure.
[[nodiscard]] int ExtractPackageFile(const char* name, const char* destination);
// The characters behind the last "." of `name`, upper-cased; `out` is left
// unchanged when there is no ".". 0 when name is none.
int GetUpperExtension(const char* name, std::optional<std::string>& out);

}  // namespace setup
