// The procedures behind the device built-ins that the removal built-ins share.
#pragma once

#include <string>
#include <vector>

#include "platform/winapi.h"

namespace setup {

// Where a device's driver came from: the INF named in its driver key, the
// driver key's path under HKEY_LOCAL_MACHINE and the device's service.
struct DeviceOemInfo {
  char szInfPath[255] = {};
  char szClassKey[255] = {};
  char szService[255] = {};
};

// 1 when a device of any class, present or not, has `hardwareId` among its
// hardware ids (letter case ignored), else 0.
[[nodiscard]] int FindDeviceByHardwareId(const char* hardwareId);
// Fills `record` from the device's driver key; 0 with a report when the key
// or its InfPath cannot be read.
[[nodiscard]] int GetDeviceOemInfo(plat::HDEVINFO set, plat::SP_DEVINFO_DATA* device,
                                   DeviceOemInfo* record);
// Deletes <Windows>\inf\<name> and its precompiled .pnf; 0 when the Windows
// directory is unknown.
int DeleteOemInf(const char* infName);
// Removes the device, its service and driver key and its OEM INF files;
// answers 0 when the removal itself failed (the last error tells why). A
// service already in `deletedServices` is not deleted again; one deleted here
// is added (both optional).
int RemoveDeviceWithOemFiles(plat::HDEVINFO set, plat::SP_DEVINFO_DATA* device,
                             DeviceOemInfo* record,
                             std::vector<std::string>* deletedServices = nullptr);

}  // namespace setup
