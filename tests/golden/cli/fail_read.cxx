// A failing read of the package trailer: the reader reports it and the load fails.
num main() {
  return 1
}
