// Calls of script functions with string parameters and results, the shapes
// that copying arguments into the callee's frame must keep exact: texts
// longer than 15 bytes and short ones, from literals, names, elements and
// temporaries; a callee changing its parameters; results stored, then their
// source changed; recursion; and a callee whose statement fails (the first
// parameter picks which run).
string roots[3] = {"SYSTEM\CurrentControlSet\Services", "SOFTWARE\Vendor\Driver", "short"}
string g = "a global text longer than fifteen bytes"

string join(string root, string leaf) {
  return root + "\" + leaf
}

string change(string p, string q) {
  p += "+callee appended to a long parameter"
  q = "replaced inside the callee"
  return p + "|" + q
}

string touchg(string p) {
  g = "global changed by the callee"
  return p + "/" + g
}

string reverse(string s, num at) {
  if (at < 0) {
    return ""
  }
  return getat(s, at) + reverse(s, at - 1)
}

num count(string s, string c) {
  num n = 0
  num i = 0
  while (i < getlen(s)) {
    if (getat(s, i) == c) {
      n += 1
    }
    i += 1
  }
  return n
}

string bad(string text, num at) {
  num k = at / (at - at)
  return text + numtostring(k)
}

string element(string text, num at) {
  return text + numtostring(getlen(roots[at]))
}

string deep(string text) {
  return deep(text + "x")
}

num main() {
  string path
  string kept = "a caller's own variable, long enough for the heap"
  string shortone = "abc"
  string empty
  string r
  num i = 0
  num mode = stringtonum(_Parameters[0])

  while (i < 6) {
    path = join(roots[i % 3], "leaf" + numtostring(i))
    msgbox(path, numtostring(count(path, "\")), 0)
    i += 1
  }
  r = change(kept, shortone)
  msgbox(r, "changed copies", 0)
  msgbox(kept, "caller keeps", 0)
  msgbox(shortone, "caller keeps short", 0)

  // A result stored, then its source changed; the callee's result is its own.
  path = join(kept, shortone)
  kept += " and more"
  shortone = path
  path = "overwritten"
  msgbox(shortone, "stored result", 0)
  msgbox(kept, "source changed", 0)

  // The argument is the global's text when the call began.
  msgbox(touchg(g), "argument before the callee's change", 0)
  msgbox(g, "global after", 0)

  // Empty strings as parameters and results.
  r = join(empty, "")
  msgbox(r, numtostring(getlen(r)), 0)
  msgbox(reverse("", 0 - 1) + "|", "empty result", 0)
  msgbox(reverse("recursion with string parameters", 31), "reversed", 0)

  if (mode == 1) {
    msgbox(bad("a parameter text longer than fifteen", 3), "not reached", 0)
  }
  if (mode == 2) {
    msgbox(element("index out of range: ", 7), "not reached", 0)
  }
  if (mode == 3) {
    msgbox(deep("a text that grows with every call"), "not reached", 0)
  }
  return 0
}
