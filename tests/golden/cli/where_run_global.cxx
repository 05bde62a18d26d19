// A global initializer that fails runs before main: no function.
num ratio = 10 / (5 - 5)
num main() {
  return ratio
}
