num main() {
  num helper() { return 1 }
  return 0
}
