// Library start-up, environment and shutdown.
#pragma once

#include <optional>
#include <string>

#include "platform/winapi.h"

namespace setup {

constexpr plat::DWORD kDllProcessDetach = 0;
constexpr plat::DWORD kDllProcessAttach = 1;
constexpr plat::DWORD kDllThreadAttach = 2;
constexpr plat::DWORD kDllThreadDetach = 3;

// The library entry point's work: attach (1), detach (0), thread notices (2, 3).
// A failed attach is followed by the detach, as the platform's loader does.
plat::BOOL DllMain(plat::HMODULE module, plat::DWORD reason, void* reserved);
[[nodiscard]] int LibraryAttach(plat::HMODULE module);
int LibraryDetach();
[[nodiscard]] int InitEnvironment(plat::HMODULE module);
int ReleaseEnvironment();

// Entry points bound from SetupApi.dll and newdev.dll at start-up.
struct DeviceApi {
#define SETUP_DEVICE_API_FIELD(name, required) plat::PFN_##name name = nullptr;
  PLAT_SETUPAPI_BOUND_ENTRY_POINTS(SETUP_DEVICE_API_FIELD)
#undef SETUP_DEVICE_API_FIELD
  plat::PFN_UpdateDriverForPlugAndPlayDevicesA UpdateDriverForPlugAndPlayDevicesA = nullptr;
};

// The device entry points BindDeviceApi bound (all none when it failed).
extern DeviceApi theDeviceApi;
[[nodiscard]] int BindDeviceApi();

}  // namespace setup
