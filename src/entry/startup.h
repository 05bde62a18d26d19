// Library start-up, environment and shutdown.
#pragma once

#include <optional>
#include <string>

#include "base/deviceapi.h"
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

// Binds theDeviceApi (base/deviceapi.h) from SetupApi.dll and newdev.dll.
[[nodiscard]] int BindDeviceApi();

}  // namespace setup
