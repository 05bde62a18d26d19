// Compiles, but there is no main: the run fails without a message of the library.
num Main() {
  return 1
}
