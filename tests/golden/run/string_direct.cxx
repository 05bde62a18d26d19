// Functions with string parameters that only read them run in frames of
// cells and see their arguments where they lie: names, literals (long,
// short, empty), elements, a string never assigned; parameters passed on
// through recursion, swapped; a string local; and the ways out: an element
// out of range among the arguments, endless recursion (the first parameter
// picks the run that fails).
string roots[3] = {"SYSTEM\CurrentControlSet\Services", "SOFTWARE\Vendor\Driver", ""}
string g = "a global text longer than fifteen bytes"
string never

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num under(string path, string prefix) {
  num size = getlen(prefix)
  if (getlen(path) < size) {
    return 0
  }
  if (getstr(path, 0, size - 1) == prefix) {
    return 1
  }
  return 0
}

num swap(num n, string a, string b) {
  if (n <= 0) {
    return getlen(a) * 100 + getlen(b)
  }
  return swap(n - 1, b, a) + (a < b) * 1000
}

num blank(string p) {
  string local
  if (local == p) {
    return 1
  }
  if (p != "") {
    return 2
  }
  return 3
}

num size(string p, num k) {
  return getlen(p) * k
}

num forever(string s, num n) {
  return forever(s, n + 1) + getlen(s)
}

num main() {
  num pick = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  string path = roots[0]
  string empty = ""
  while (i < 6) {
    total += under(roots[i % 3], "SYSTEM") * 10 + under(path, "SYSTEM\CurrentControlSet")
    total += under(g, getstr(g, 0, i)) * 100
    total += swap(i, g, "short") + swap(i % 2, "", roots[i % 3])
    total += blank("") + blank(never) * 10 + blank(roots[2]) * 100 + blank(empty) * 1000
    total += blank(getstr(path, 3, 1)) * 10000 + blank(path) * 100000
    total += size(never, i) + size("", 2) + size(roots[2], 3) + size(roots[i % 2], i)
    i += 1
  }
  show("total", total)
  show("swapped", swap(3, "abc", "de"))
  if (pick == 1) {
    i = 0
    while (i < 5) {
      total += under(roots[i], "SYSTEM")
      i += 1
    }
  }
  if (pick == 2) {
    i = 0
    while (i < 1) {
      total += forever(path, 0)
      i += 1
    }
  }
  show("end", total)
  return total
}
