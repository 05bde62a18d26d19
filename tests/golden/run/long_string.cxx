// Strings are bounded by memory, not by a fixed length: a text of one
// mebibyte built with `+=` (doubling, then appending pieces) and with `+`
// keeps every byte, as getlen, getat and getstr show.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  string s = "0123456789abcdef"
  string piece
  string t
  num i = 0
  while (i < 15) {
    s += s
    i += 1
  }
  show("doubled", getlen(s))
  piece = s
  s += piece
  show("mebibyte", getlen(s))
  msgbox(getat(s, 1048575), "last", 0)
  msgbox(getstr(s, 1048570, 1048575), "tail", 0)
  t = s + "!"
  show("plus", getlen(t))
  msgbox(getat(t, 1048576), "appended", 0)
  i = 0
  while (i < 64) {
    s += "x"
    i += 1
  }
  show("bytes", getlen(s))
  return getlen(s) - 1048576
}
