// break and continue leave values in the running frame; they are released
// when the call returns and never reach the caller or a later call.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num spin(num times) {
  num i = 0
  num kept = 7
  while (1) {
    i += 1
    if (i < times) {
      continue
    }
    break
  }
  return kept + i
}

num main() {
  num total = 0
  num round = 0
  while (round < 3) {
    total += spin(1000)
    round += 1
    if (round == 2) {
      continue
    }
  }
  show("total", total)
  return spin(5)
}
