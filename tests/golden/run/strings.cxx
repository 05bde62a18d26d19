// string operators: concatenation, byte-wise comparison, and the empty
// string that equals only another empty string.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  string a = "ab"
  string e
  string t = a + "cd"
  msgbox(t, "concat", 0)
  msgbox(e + a + e, "empty sides", 0)
  msgbox("x" + "y" + "z", "literals", 0)
  show("eq", a == "ab")
  show("eq-case", a == "AB")
  show("empty==empty", e == "")
  show("empty<a", "" < "a")
  show("empty>a", e > a)
  show("empty<=empty", e <= "")
  show("empty>=a", e >= a)
  show("empty!=a", e != a)
  show("empty!=empty", e != "")
  show("b>a", "b" > "a")
  show("prefix", a < "abc")
  show("upper<lower", "B" < "a")
  show("ne", a != "ab")
  show("ge", "abd" >= "abc")
  show("len", getlen(t + t))
  return 0
}
