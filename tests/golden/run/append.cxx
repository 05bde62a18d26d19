// `+=` on strings appends in place: on a scalar, on itself, on an array
// element and on a global, in a loop.
string g = "g"

num show(string label, string v) {
  msgbox(v, label, 0)
  return getlen(v)
}

num main() {
  string s = "ab"
  string cells[2]
  num n = 0
  s += "c"
  show("variable", s)
  s += s
  show("itself", s)
  cells[1] = "x"
  cells[1] += "y"
  cells[1] += cells[1]
  show("element", cells[1])
  show("other element", cells[0])
  while (n < 3) {
    g += numtostring(n)
    g += ""
    n += 1
  }
  show("global", g)
  return getlen(g)
}
