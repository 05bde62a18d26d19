// --trace=statements: the lines of an included file name that file as the
// include directive names it; the script's own lines count without the
// parameter prelude.
include "include\helpers.inc"

num main() {
  num n = Double(4)
  return Double(n)
}
