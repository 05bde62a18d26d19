// A call that fails to open the script after a successful call answers 0
// and leaves no trace for the next call.
num main() {
  return 5
}
