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
  plat::PFN_SetupDiGetClassDevsA SetupDiGetClassDevsA = nullptr;
  plat::PFN_SetupDiEnumDeviceInfo SetupDiEnumDeviceInfo = nullptr;
  plat::PFN_SetupDiGetDeviceRegistryPropertyA SetupDiGetDeviceRegistryPropertyA = nullptr;
  plat::PFN_SetupDiCallClassInstaller SetupDiCallClassInstaller = nullptr;
  plat::PFN_SetupDiDestroyDeviceInfoList SetupDiDestroyDeviceInfoList = nullptr;
  plat::PFN_SetupDiGetINFClassA SetupDiGetINFClassA = nullptr;
  plat::PFN_SetupDiCreateDeviceInfoList SetupDiCreateDeviceInfoList = nullptr;
  plat::PFN_SetupDiCreateDeviceInfoA SetupDiCreateDeviceInfoA = nullptr;
  plat::PFN_SetupDiSetDeviceRegistryPropertyA SetupDiSetDeviceRegistryPropertyA = nullptr;
  plat::PFN_SetupDiDeleteDeviceInfo SetupDiDeleteDeviceInfo = nullptr;
  plat::PFN_SetupDiGetDeviceInstallParamsA SetupDiGetDeviceInstallParamsA = nullptr;
  plat::PFN_SetupCopyOEMInfA SetupCopyOEMInfA = nullptr;
  plat::PFN_UpdateDriverForPlugAndPlayDevicesA UpdateDriverForPlugAndPlayDevicesA = nullptr;
};

// The device entry points BindDeviceApi bound (all none when it failed).
extern DeviceApi theDeviceApi;
[[nodiscard]] int BindDeviceApi();

}  // namespace setup
