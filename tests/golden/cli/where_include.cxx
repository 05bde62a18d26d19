// A compile error inside an included file: its own name and line, then the
// line of the include directive in the script.
num main() {
  return 1
}
include "include\broken.inc"
