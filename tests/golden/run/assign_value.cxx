// An assignment used for its value gives the assigned value to whatever
// consumes it: an operator, another assignment, an argument, a condition,
// an index, a return.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num twice(num v) {
  return v * 2
}

num main() {
  num a = 0
  num b = 0
  num x = 0
  num m[3]
  string s
  string t
  show("paren", (a = 3) + 1)
  show("a", a)
  a = b = 7
  show("chain a", a)
  show("chain b", b)
  show("arg", twice(x = 5))
  show("x", x)
  if (x = 0) {
    show("then", x)
  } else {
    show("else", x)
  }
  m[b = 2] = 4
  show("m[2]", m[2])
  s = t = "both"
  msgbox(s + "/" + t, "strings", 0)
  num c = a = 11
  show("init", c)
  return a = 9
}
