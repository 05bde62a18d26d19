// A machine state nested too deep stops the run before the library loads (exit 3);
// the state file is left as it was.
num main() {
  return 1
}
