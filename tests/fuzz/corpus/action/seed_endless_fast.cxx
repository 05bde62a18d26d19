num main() {
  num i = 0
  while (1) {
    i += 1
  }
  return i
}
//b!20