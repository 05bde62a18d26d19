// Service built-ins: handlers and their operations.
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"

namespace setup {

// ---- Operations ----------------------------------------------------------------------

std::int32_t CreateDriverService(const char*, const char*, std::int32_t, const char*) {
  return NotAvailable("createservice");
}

std::int32_t StartServiceByName(const char*) {
  return NotAvailable("startservice");
}

std::int32_t StopServiceByName(const char*) {
  return NotAvailable("stopservice");
}

// ---- Handlers --------------------------------------------------------------------------

// The service is created without a load-order group.
std::int32_t HandleCreateService(SyntaxNode*) {
  const char* name = ArgText(0, 3);
  std::int32_t startType = 0;
  const char* imagePath = ArgText(2, 3);
  if (name == nullptr || !ArgNum(1, 3, &startType) || imagePath == nullptr) {
    return MissingArgument();
  }
  return CreateDriverService(name, nullptr, startType, imagePath);
}

std::int32_t HandleStartService(SyntaxNode*) {
  const char* name = ArgText(0, 1);
  if (name == nullptr) return MissingArgument();
  return StartServiceByName(name);
}

std::int32_t HandleStopService(SyntaxNode*) {
  const char* name = ArgText(0, 1);
  if (name == nullptr) return MissingArgument();
  return StopServiceByName(name);
}

}  // namespace setup
