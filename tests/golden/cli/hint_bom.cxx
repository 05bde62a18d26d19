num main() {
  return 1
}
