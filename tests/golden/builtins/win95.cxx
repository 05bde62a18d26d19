// A built-in that answers 0 prints the diagnostic line even when 0 is its
// answer: Windows 95 is OS_WIN95, code 0.
num main() {
  return getwinversion() + 10
}
