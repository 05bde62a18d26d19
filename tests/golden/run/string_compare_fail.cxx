// A comparison of strings inside a num statement of a loop fails on its
// third pass (a division by 0 in an argument): the passes before keep their
// effects and the failure is reported once.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num failing() {
  num i = 0
  num total = 0
  string s = "abc"
  while (i < 4) {
    total += (getat(s, i) == getat(s, 4 / (2 - i))) + 1
    show("total", total)
    i += 1
  }
  return total
}

num main() {
  show("failing", failing())
  return 0
}
