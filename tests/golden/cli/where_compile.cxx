// A compile error: standard error names the file and line where compilation
// stopped, with the library's first message.
num main() {
  num count = 0
  count = missing + 1
  return count
}
