num main() {
  { num x }
  return 0
}
