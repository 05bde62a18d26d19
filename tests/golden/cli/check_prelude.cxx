// --check compiles with the prelude of the command, so _Parameters exists.
num main() {
  if (_Parameters[0] == "install") {
    return 1
  }
  return 0
}
