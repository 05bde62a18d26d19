// The library entry point that the Windows loader calls; it hands every
// notification to the start-up code.
#include "entry/startup.h"

extern "C" plat::BOOL PLAT_WINAPI DllMain(plat::HMODULE instance, plat::DWORD reason,
                                          void* reserved) {
  return setup::DllMain(instance, reason, reserved);
}
