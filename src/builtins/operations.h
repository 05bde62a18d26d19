// The operations behind the built-ins, by family. Handlers (handlers.h) call
// them with checked arguments in script order; a string built-in's operation
// stores its result text in `out` (the text of theStringResult) or leaves it
// empty. Each answers the built-in's int32 result.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/winapi.h"

namespace setup {

using TextOut = std::optional<std::string>;

// ---- System environment (env.cpp) ------------------------------------------------------
// Shows the text (with each backslash-n turned into a line feed) and answers
// the button pressed, 0 when no box could be shown.
std::int32_t MsgBox(const char* text, const char* caption, std::int32_t flags);
// Waits the number of milliseconds taken as unsigned; answers 1.
std::int32_t SleepFor(std::int32_t milliseconds);
// Starts the command line and waits for it to end; 0 when it cannot start.
std::int32_t Execute(const char* commandLine);
// Asks the system to restart (enabling the privilege on NT systems).
void Reboot();

// ---- Strings and numbers (strings.cpp) -------------------------------------------------
std::int32_t GetLen(const char* text);
std::int32_t StringToNum(const char* text);
std::int32_t NumToString(std::int32_t value, TextOut& out);
std::int32_t GetAt(const char* text, std::int32_t index, TextOut& out);
std::int32_t GetStr(const char* text, std::int32_t first, std::int32_t last, TextOut& out);

// ---- Registry (registry.cpp) -------------------------------------------------------------
std::int32_t CheckRegStatus(std::int32_t root, const char* key);
std::int32_t AddSubReg(std::int32_t root, const char* parent, const char* name);
std::int32_t AddRegValues(std::int32_t root, const char* key, const char* valueName,
                          std::int32_t type, const char* text);
std::int32_t AddRegValued(std::int32_t root, const char* key, const char* valueName,
                          std::int32_t type, std::int32_t number);
std::int32_t GetRegValued(std::int32_t root, const char* key, const char* valueName);
std::int32_t GetRegValues(std::int32_t root, const char* key, const char* valueName, TextOut& out);
std::int32_t EnumSubReg(std::int32_t root, const char* key, std::int32_t index, TextOut& out);
std::int32_t DeleteReg(std::int32_t root, const char* key);
std::int32_t DeleteRegX(std::int32_t root, const char* key, std::int32_t security);
std::int32_t DeleteRegByFindStr(std::int32_t root, const char* key, const char* text);

// Shared with the service and device families. DeleteRegTree deletes a key with
// its subtree (0 only for an empty path; a missing key is reported and still
// answers 1). SetKeyRights gives every key of a tree a null DACL, children
// first (0 when the key cannot be opened); OpenKeyToEveryone does it for one key.
std::int32_t DeleteRegTree(plat::HKEY root, const char* key);
std::int32_t SetKeyRights(plat::HKEY root, const char* key);
void OpenKeyToEveryone(plat::HKEY root, const char* key);

// ---- Files and directories (files.cpp) ---------------------------------------------------
std::int32_t CopyFileTo(const char* source, const char* destination);
std::int32_t DeleteFileAt(const char* path);
std::int32_t DeleteFileX(const char* fileName, const char* directory);
std::int32_t ExtractResFile(const char* entryName, const char* destination);
std::int32_t CreateDirectoryOnce(const char* path);
std::int32_t DeleteDirectoryTree(const char* path);

// ---- Services (services.cpp) ---------------------------------------------------------------
std::int32_t CreateDriverService(const char* name, const char* loadOrderGroup,
                                 std::int32_t startType, const char* imagePath);
std::int32_t StartServiceByName(const char* name);
std::int32_t StopServiceByName(const char* name);
// Stops the service, marks it for deletion and deletes its registry key; 1 once
// the service control manager was reached, 0 for an empty name or when it was not.
std::int32_t DeleteServiceAndKey(const char* name);

// ---- Devices (devices.cpp) -------------------------------------------------------------------
std::int32_t InstallDriverByHardwareId(const char* infPath, const char* hardwareId);
std::int32_t InstallUsbDriver(const char* infPath, const char* hardwareId);
std::int32_t DeleteServiceDevices(const char* serviceName);
std::int32_t UpdateDeviceByHardwareId(const char* infPath, const char* hardwareId);
std::int32_t DeleteDriverByHardwareId(const char* hardwareId);
std::int32_t CheckDeviceStatus(const char* hardwareId);
std::int32_t DisableDriverByHardwareId(const char* hardwareId);
std::int32_t EnableDriverByHardwareId(const char* hardwareId);

}  // namespace setup
