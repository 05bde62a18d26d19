// Every way of joining strings refuses a result longer than 1 GiB (1073741824
// bytes) before it allocates: a text of 544 MiB joined with itself is too
// long. The first parameter picks the join; each run stops at the refusal.
// Join 4 is join 2 after a first call of the function with short texts.
string big

string around(string tail) {
  return big + tail + big
}

num size(string text) {
  return getlen(text)
}

num main() {
  num i = 0
  string t
  if (stringtonum(_Parameters[0]) == 4) {
    t = around("\")
  }
  big = "0123456789abcdef!"
  while (i < 25) {
    big += big
    i += 1
  }
  msgbox(numtostring(getlen(big)), "built", 0)
  num pick = stringtonum(_Parameters[0])
  if (pick == 0) {
    t = big + big
  }
  if (pick == 1) {
    big += big
  }
  if (pick == 2) {
    t = around("\")
  }
  if (pick == 3) {
    i = size(big + "\" + big)
  }
  if (pick == 4) {
    t = around("\")
  }
  msgbox("not refused", "joined", 0)
  return 0
}
