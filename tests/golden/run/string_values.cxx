// String values that the interpreter lends or moves instead of copying must
// behave as copies: a parameter changed in the callee leaves the caller's
// variable alone, a stored result keeps its text when its source changes,
// `+=` appends to the variable's own text only, a built-in's argument is
// the text at the time it was evaluated, and empty results compare with "".
string g = "global"
string list[2] = {"first", "second"}

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

string touch(string p) {
  p += "-callee"
  p = p + "!"
  return p
}

num changeg() {
  g = "changed"
  list[0] = "replaced"
  return 1
}

string pick(string a, string b) {
  if (getlen(a) > getlen(b)) {
    return a
  }
  return b
}

num main() {
  string s = "caller"
  string r
  string t
  string e
  num i = 0

  r = touch(s)
  msgbox(s, "caller keeps", 0)
  msgbox(r, "callee result", 0)

  // A result stored, then its source changed.
  t = s
  s += "+more"
  msgbox(t, "stored copy", 0)
  msgbox(s, "source", 0)
  r = pick(s, t)
  s = "x"
  msgbox(r, "picked", 0)

  // += on a text that was lent to a built-in and a comparison.
  t = "ab"
  while (i < 3) {
    if (getat(t, 0) == "a") {
      t += t
    }
    show("length", getlen(t))
    i += 1
  }
  msgbox(t, "appended", 0)

  // The argument is the text when it was evaluated: the second argument
  // changes the global afterwards.
  msgbox(getat(g, changeg()), "getat before change", 0)
  msgbox(g, "global now", 0)
  g = "global"
  list[0] = "first"
  msgbox(getstr(list[0], 0, changeg() + 2), "getstr before change", 0)
  msgbox(list[0], "element now", 0)
  show("element compared", "replaced" == list[changeg() - 1])
  show("getlen of changed", getlen(g))

  // Empty results: getstr of one position and a failed getat give no text.
  e = getstr("abc", 1, 1)
  show("getstr empty eq", e == "")
  show("getstr empty ne", e != "")
  show("getat failed eq", getat("abc", 7) == "")
  show("getat ok eq", getat("abc", 0) == "")
  show("empty lt a", e < "a")
  show("literal empty eq e", "" == e)
  show("getlen of empty", getlen(e))

  // Comparisons in place with names on the right.
  t = "abc"
  r = "abd"
  show("t < r", getstr(t, 0, 2) < r)
  show("t == t", getstr(t, 0, 2) == t)
  show("t != e", getat(t, 0) != e)
  return 0
}
