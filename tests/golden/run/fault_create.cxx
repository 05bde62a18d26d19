// The run sequence when the machine fails a file operation: the first call
// fails at one step, the second call starts clean and runs.
num main() {
  return 5
}
