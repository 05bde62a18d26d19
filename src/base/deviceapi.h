// The entry points of SetupApi.dll and newdev.dll that start-up binds
// (BindDeviceApi) and the device built-ins call.
#pragma once

#include "platform/winapi.h"

namespace setup {

struct DeviceApi {
#define SETUP_DEVICE_API_FIELD(name, required) plat::PFN_##name name = nullptr;
  PLAT_SETUPAPI_BOUND_ENTRY_POINTS(SETUP_DEVICE_API_FIELD)
#undef SETUP_DEVICE_API_FIELD
  plat::PFN_UpdateDriverForPlugAndPlayDevicesA UpdateDriverForPlugAndPlayDevicesA = nullptr;
};

// The device entry points BindDeviceApi bound (all none when it failed).
extern DeviceApi theDeviceApi;

}  // namespace setup
