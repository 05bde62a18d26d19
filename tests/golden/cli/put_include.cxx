// --put places host files on the machine; include reads them from the
// current directory.
include "include\common.inc"
num main() {
  return Twice(21)
}
