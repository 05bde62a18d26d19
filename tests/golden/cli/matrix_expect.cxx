// Every profile answers 1 to both commands: the matrix agrees with --expect.
num main() {
  if (_Parameters[0] == "install") {
    createdirectory(WINDIR + "\AcmeLogs")
    return 1
  }
  deletedirectory(WINDIR + "\AcmeLogs")
  return 1
}
