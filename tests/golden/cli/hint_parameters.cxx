// _Parameters exists only when the command has a parameter: --check without
// a COMMAND fails and says why, with exit status 4.
num main() {
  if (_Parameters_Num > 0) {
    if (_Parameters[0] == "install") {
      return 1
    }
  }
  return 0
}
