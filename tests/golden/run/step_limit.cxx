// The step budget of the test hook ends an endless loop.
num main() {
  num i = 0
  while (1) {
    i += 1
  }
  return i
}
