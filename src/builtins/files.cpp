// File and directory built-ins: handlers and their operations.
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"

namespace setup {

// ---- Operations ----------------------------------------------------------------------

std::int32_t CopyFileTo(const char*, const char*) {
  return NotAvailable("copyfile");
}

std::int32_t DeleteFileAt(const char*) {
  return NotAvailable("deletefile");
}

std::int32_t DeleteFileX(const char*, const char*) {
  return NotAvailable("deletefilex");
}

std::int32_t ExtractResFile(const char*, const char*) {
  return NotAvailable("extractresfile");
}

std::int32_t CreateDirectoryOnce(const char*) {
  return NotAvailable("createdirectory");
}

std::int32_t DeleteDirectoryTree(const char*) {
  return NotAvailable("deletedirectory");
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
