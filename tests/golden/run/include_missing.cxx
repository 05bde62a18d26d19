// An include of a missing file stops the compilation.
include "no\such\file.h"
num main() {
  return 1
}
