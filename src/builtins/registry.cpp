// Registry built-ins: handlers and their operations.
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"
#include "diag/report.h"

namespace setup {

// ---- Operations ----------------------------------------------------------------------

std::int32_t CheckRegStatus(std::int32_t, const char*) {
  return NotAvailable("checkregstatus");
}

std::int32_t AddSubReg(std::int32_t, const char*, const char*) {
  return NotAvailable("addsubreg");
}

std::int32_t AddRegValues(std::int32_t, const char*, const char*, std::int32_t, const char*) {
  return NotAvailable("addregvalues");
}

std::int32_t AddRegValued(std::int32_t, const char*, const char*, std::int32_t, std::int32_t) {
  return NotAvailable("addregvalued");
}

std::int32_t GetRegValued(std::int32_t, const char*, const char*) {
  return NotAvailable("getregvalued");
}

std::int32_t GetRegValues(std::int32_t, const char*, const char*, TextOut&) {
  return NotAvailable("getregvalues");
}

std::int32_t EnumSubReg(std::int32_t, const char*, std::int32_t, TextOut&) {
  return NotAvailable("enumsubreg");
}

std::int32_t DeleteReg(std::int32_t, const char*) {
  return NotAvailable("deletereg");
}

std::int32_t DeleteRegX(std::int32_t, const char*, std::int32_t) {
  return NotAvailable("deleteregx");
}

std::int32_t DeleteRegByFindStr(std::int32_t, const char*, const char*) {
  return NotAvailable("deleteregbyfindstr");
}

// ---- Handlers --------------------------------------------------------------------------

std::int32_t HandleCheckRegStatus(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 2);
  if (!ArgNum(0, 2, &root) || key == nullptr) return MissingArgument();
  return CheckRegStatus(root, key);
}

std::int32_t HandleAddSubReg(SyntaxNode*) {
  std::int32_t root = 0;
  const char* parent = ArgText(1, 3);
  const char* name = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || parent == nullptr || name == nullptr) return MissingArgument();
  return AddSubReg(root, parent, name);
}

std::int32_t HandleAddRegValues(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t type = 0;
  const char* key = ArgText(1, 5);
  const char* valueName = ArgText(2, 5);
  const char* text = ArgText(4, 5);
  if (!ArgNum(0, 5, &root) || key == nullptr || valueName == nullptr || !ArgNum(3, 5, &type) ||
      text == nullptr) {
    return MissingArgument();
  }
  return AddRegValues(root, key, valueName, type, text);
}

std::int32_t HandleAddRegValued(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t type = 0;
  std::int32_t number = 0;
  const char* key = ArgText(1, 5);
  const char* valueName = ArgText(2, 5);
  if (!ArgNum(0, 5, &root) || key == nullptr || valueName == nullptr || !ArgNum(3, 5, &type) ||
      !ArgNum(4, 5, &number)) {
    return MissingArgument();
  }
  return AddRegValued(root, key, valueName, type, number);
}

std::int32_t HandleGetRegValued(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 3);
  const char* valueName = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || valueName == nullptr) {
    ReportError("getregvalued() failed. Parameters is NULL");
    return 0;
  }
  return GetRegValued(root, key, valueName);
}

std::int32_t HandleGetRegValues(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 3);
  const char* valueName = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || valueName == nullptr) return MissingArgument();
  return GetRegValues(root, key, valueName, *ResetStringResult());
}

std::int32_t HandleEnumSubReg(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t index = 0;
  const char* key = ArgText(1, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || !ArgNum(2, 3, &index)) return MissingArgument();
  return EnumSubReg(root, key, index, *ResetStringResult());
}

std::int32_t HandleDeleteReg(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 2);
  if (!ArgNum(0, 2, &root) || key == nullptr) return MissingArgument();
  return DeleteReg(root, key);
}

std::int32_t HandleDeleteRegX(SyntaxNode*) {
  std::int32_t root = 0;
  std::int32_t security = 0;
  const char* key = ArgText(1, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || !ArgNum(2, 3, &security)) {
    return MissingArgument();
  }
  return DeleteRegX(root, key, security);
}

std::int32_t HandleDeleteRegByFindStr(SyntaxNode*) {
  std::int32_t root = 0;
  const char* key = ArgText(1, 3);
  const char* text = ArgText(2, 3);
  if (!ArgNum(0, 3, &root) || key == nullptr || text == nullptr) return MissingArgument();
  return DeleteRegByFindStr(root, key, text);
}

}  // namespace setup
