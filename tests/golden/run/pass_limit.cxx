// The pass budget of the test hook counts loop passes and calls alike on
// every evaluation path, so a run without a step budget still ends; the next
// call starts with the whole budget again.
num calls = 0

num tick(num v) {
  calls += 1
  return v
}

num main() {
  num i = 0
  num j = 0
  while (i < 5) {
    j = 0
    while (j < 3) {
      j += 1
    }
    tick(i)
    i += 1
  }
  msgbox(numtostring(i * 100 + calls), "passes", 0)
  i = 0
  while (tick(i) < 3) {
    i += tick(1)
  }
  msgbox(numtostring(i * 100 + calls), "passes", 0)
  while (_Parameters_Num == 0) {
    i += 1
  }
  return i
}
