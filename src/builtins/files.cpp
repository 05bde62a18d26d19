// File and directory built-ins: handlers and their operations.
#include <cstring>
#include <string>

#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"
#include "diag/report.h"
#include "package/package.h"

namespace setup {

namespace {

// deletedirectory refuses paths of this length or longer: its search pattern
// (path, "\", "*.*") must stay within the 255-byte buffer of the original
// design, and every path below it is longer still.
constexpr std::size_t kDirectoryPathLimit = 255;

}  // namespace

// ---- Operations ----------------------------------------------------------------------

// Overwrites the destination, also a read-only one; fails silently.
std::int32_t CopyFileTo(const char* source, const char* destination) {
  plat::SetFileAttributesA(destination, plat::FILE_ATTRIBUTE_NORMAL);
  return plat::CopyFileA(source, destination, plat::FALSE) ? 1 : 0;
}

std::int32_t DeleteFileAt(const char* path) {
  plat::SetFileAttributesA(path, plat::FILE_ATTRIBUTE_NORMAL);
  if (plat::DeleteFileA(path)) return 1;
  ReportError("deletefile '%s' failed : win error code : 0x%8x", path, plat::GetLastError());
  return 0;
}

// The separator is always inserted; Windows reads "C:\Dir\\a.inf" as "C:\Dir\a.inf".
std::int32_t DeleteFileX(const char* fileName, const char* directory) {
  const std::string path = std::string(directory) + "\\" + fileName;
  plat::SetFileAttributesA(path.c_str(), plat::FILE_ATTRIBUTE_NORMAL);
  if (plat::DeleteFileA(path.c_str())) return 1;
  ReportError("deletefilex '%s' failed : win error code : 0x%8x", path.c_str(),
              plat::GetLastError());
  return 0;
}

std::int32_t ExtractResFile(const char* entryName, const char* destination) {
  return ExtractPackageFile(entryName, destination);
}

// Something already at the path (a file too) counts as success; missing
// parents are not created.
std::int32_t CreateDirectoryOnce(const char* path) {
  if (plat::PathFileExistsA(path)) return 1;
  return plat::CreateDirectoryA(path, nullptr) ? 1 : 0;
}

// Deletes the contents, then the directory. Names beginning with "." are left
// alone (and then keep their directory). Answers 1 only when the directory
// itself is gone. The depth is bounded by the path limit.
std::int32_t DeleteDirectoryTree(const char* path) {
  const std::size_t length = std::strlen(path);
  if (length >= kDirectoryPathLimit) return 0;
  std::string base(path);
  if (length == 0 || base.back() != '\\') base += '\\';
  plat::WIN32_FIND_DATAA found{};
  plat::HANDLE search = plat::FindFirstFileA((base + "*.*").c_str(), &found);
  if (search != plat::INVALID_HANDLE_VALUE) {
    do {
      if (found.cFileName[0] == '.') continue;
      const std::string child = base + found.cFileName;
      if (found.dwFileAttributes & plat::FILE_ATTRIBUTE_DIRECTORY) {
        DeleteDirectoryTree(child.c_str());
        plat::RemoveDirectoryA(child.c_str());
      } else {
        plat::SetFileAttributesA(child.c_str(), plat::FILE_ATTRIBUTE_NORMAL);
        plat::DeleteFileA(child.c_str());
      }
    } while (plat::FindNextFileA(search, &found));
    plat::FindClose(search);
  }
  plat::SetFileAttributesA(path, plat::FILE_ATTRIBUTE_NORMAL);
  return plat::RemoveDirectoryA(path) ? 1 : 0;
}

// ---- Handlers --------------------------------------------------------------------------

namespace {

// The handlers of this family take one or two required texts.
template <typename Operation>
std::int32_t WithTexts(int count, Operation operation) {
  const char* first = ArgText(0, count);
  const char* second = count > 1 ? ArgText(1, count) : "";
  if (first == nullptr || second == nullptr) return MissingArgument();
  return operation(first, second);
}

}  // namespace

std::int32_t HandleCopyFile(SyntaxNode*) {
  return WithTexts(2, [](const char* source, const char* destination) {
    return CopyFileTo(source, destination);
  });
}

std::int32_t HandleDeleteFile(SyntaxNode*) {
  return WithTexts(1, [](const char* path, const char*) { return DeleteFileAt(path); });
}

std::int32_t HandleDeleteFileX(SyntaxNode*) {
  return WithTexts(2, [](const char* fileName, const char* directory) {
    return DeleteFileX(fileName, directory);
  });
}

std::int32_t HandleExtractResFile(SyntaxNode*) {
  return WithTexts(2, [](const char* entryName, const char* destination) {
    return ExtractResFile(entryName, destination);
  });
}

std::int32_t HandleCreateDirectory(SyntaxNode*) {
  return WithTexts(1, [](const char* path, const char*) { return CreateDirectoryOnce(path); });
}

std::int32_t HandleDeleteDirectory(SyntaxNode*) {
  return WithTexts(1, [](const char* path, const char*) { return DeleteDirectoryTree(path); });
}

}  // namespace setup
