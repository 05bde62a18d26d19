// Device driver built-ins: handlers and their operations.
#include "builtins/handlers.h"
#include "builtins/operations.h"
#include "builtins/table.h"

namespace setup {

// ---- Operations ----------------------------------------------------------------------

std::int32_t InstallDriverByHardwareId(const char*, const char*) {
  return NotAvailable("installdriverbyhardwareid");
}

std::int32_t InstallUsbDriver(const char*, const char*) {
  return NotAvailable("installusbdriver");
}

std::int32_t DeleteServiceDevices(const char*) {
  return NotAvailable("deleteservice");
}

std::int32_t UpdateDeviceByHardwareId(const char*, const char*) {
  return NotAvailable("updatedevicebyhardwareid");
}

std::int32_t DeleteDriverByHardwareId(const char*) {
  return NotAvailable("deletedriverbyhardwareid");
}

std::int32_t CheckDeviceStatus(const char*) {
  return NotAvailable("checkdevicestatus");
}

std::int32_t DisableDriverByHardwareId(const char*) {
  return NotAvailable("disabledriverbyhardwareid");
}

std::int32_t EnableDriverByHardwareId(const char*) {
  return NotAvailable("enabledriverbyhardwareid");
}

// ---- Handlers --------------------------------------------------------------------------

namespace {

// The INF path and hardware identifier of the install and update built-ins.
template <typename Operation>
std::int32_t WithInfAndId(Operation operation) {
  const char* infPath = ArgText(0, 2);
  const char* hardwareId = ArgText(1, 2);
  if (infPath == nullptr || hardwareId == nullptr) return MissingArgument();
  return operation(infPath, hardwareId);
}

template <typename Operation>
std::int32_t WithOneText(Operation operation) {
  const char* text = ArgText(0, 1);
  if (text == nullptr) return MissingArgument();
  return operation(text);
}

}  // namespace

std::int32_t HandleInstallDriverByHardwareId(SyntaxNode*) {
  return WithInfAndId(InstallDriverByHardwareId);
}

std::int32_t HandleInstallUsbDriver(SyntaxNode*) {
  return WithInfAndId(InstallUsbDriver);
}

std::int32_t HandleUpdateDeviceByHardwareId(SyntaxNode*) {
  return WithInfAndId(UpdateDeviceByHardwareId);
}

std::int32_t HandleDeleteService(SyntaxNode*) {
  return WithOneText(DeleteServiceDevices);
}

std::int32_t HandleDeleteDriverByHardwareId(SyntaxNode*) {
  return WithOneText(DeleteDriverByHardwareId);
}

std::int32_t HandleCheckDeviceStatus(SyntaxNode*) {
  return WithOneText(CheckDeviceStatus);
}

std::int32_t HandleDisableDriverByHardwareId(SyntaxNode*) {
  return WithOneText(DisableDriverByHardwareId);
}

std::int32_t HandleEnableDriverByHardwareId(SyntaxNode*) {
  return WithOneText(EnableDriverByHardwareId);
}

// Kept for scripts written for older systems: nothing to do.
std::int32_t HandleUpdateDeviceList(SyntaxNode*) {
  return 1;
}

}  // namespace setup
