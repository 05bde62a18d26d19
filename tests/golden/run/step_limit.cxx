// The step budget of the test hook ends an endless loop; the next call
// starts with the whole budget again, also for the constants the compiler
// evaluates.
define SIZE 3

num main() {
  num cells[SIZE]
  num i = 0
  while (_Parameters_Num == 0) {
    i += 1
  }
  return SIZE
}
