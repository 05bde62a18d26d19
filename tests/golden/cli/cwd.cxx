// --put and include both resolve relative paths against --cwd.
include "include\common.inc"
num main() {
  return Twice(4)
}
