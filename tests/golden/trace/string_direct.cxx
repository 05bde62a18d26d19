// --trace: calls of functions with string parameters that the loop machine
// makes directly trace their arguments as the tree walk's calls do: texts
// of names, literals, elements and empty strings, through recursion.
string roots[2] = {"SYSTEM\CurrentControlSet\Services", ""}
string never

num under(string path, string prefix) {
  num size = getlen(prefix)
  if (getstr(path, 0, size - 1) == prefix) {
    return 1
  }
  return 0
}

num swap(num n, string a, string b) {
  if (n <= 0) {
    return getlen(a)
  }
  return swap(n - 1, b, a)
}

num main() {
  num i = 0
  num total = 0
  string path = roots[0]
  while (i < 2) {
    total += under(path, "SYSTEM") + under(roots[i], "") + swap(2, never, "ab")
    i += 1
  }
  return total
}
