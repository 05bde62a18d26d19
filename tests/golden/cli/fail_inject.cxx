// An injected failure of the system directory query makes start-up fail.
num main() {
  return 1
}
