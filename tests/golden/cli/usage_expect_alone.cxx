num main() {
  return 0
}
