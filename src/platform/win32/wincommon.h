// Common includes of the win32 backend: the Windows headers, then the removal
// of their clashing macros, then the platform surface.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// Needs <windows.h> first.
#include <shlwapi.h>

#include "platform/win32/winundef.h"
// The platform surface comes after the macros are gone.
#include "platform/winapi.h"

namespace plat::win32 {

// The real registry handle for a plat one. The predefined roots are passed on
// in Windows' own (sign-extended) form; a script's number 0x80000002 may
// arrive zero- or sign-extended.
inline ::HKEY Key(plat::HKEY key) {
  auto value = static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(key));
  auto high = static_cast<unsigned int>(value >> 32);
  auto low = static_cast<unsigned int>(value);
  if ((high == 0 || high == 0xFFFFFFFFu) && low >= 0x80000000u && low <= 0x80000006u) {
    return reinterpret_cast<::HKEY>(static_cast<ULONG_PTR>(static_cast<::LONG>(low)));
  }
  return reinterpret_cast<::HKEY>(key);
}

inline ::DWORD* Dw(plat::DWORD* p) {
  return reinterpret_cast<::DWORD*>(p);
}

}  // namespace plat::win32
