// Compound assignments: they update the variable and give its new value; an
// element's index expressions run once more when the element is written.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  num n = 10
  num a[3]
  num i = 0
  string s = "x"
  string names[2]
  n += 5
  show("+=", n)
  n -= 20
  show("-=", n)
  n *= 3
  show("*=", n)
  n /= 4
  show("/=", n)
  n %= 2
  show("%=", n)
  show("value", (n += 10) + 1)
  show("n", n)
  s += "y"
  msgbox(s, "string +=", 0)
  s += "z"
  msgbox(s, "s", 0)
  a[i += 1] = 5
  show("i", i)
  show("a[1]", a[1])
  show("a[2]", a[2])
  a[0] += 7
  a[0] *= a[2]
  show("a[0]", a[0])
  names[1] += "q"
  names[1] += "r"
  msgbox(names[1], "names[1]", 0)
  msgbox(names[0], "names[0]", 0)
  return 0
}
