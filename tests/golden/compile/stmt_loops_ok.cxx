num main() {
  num i = 0
  while (i < 10) {
    i += 1
    if (i == 3) { continue } else { if (i == 8) { break } }
  }
  _mscall { i }
  return i
}
