// A script without main compiles; the run fails without a message.
num helper() {
  return 1
}
