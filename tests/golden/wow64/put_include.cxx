// A file put without a destination is in the current directory as the
// 32-bit process sees it: the default one, system32, is SysWOW64 under
// WOW64, and include finds the file there.
include "include\common.inc"
num main() {
  return Twice(21)
}
