// String functions that call themselves in frames of cells: a string local
// joined from the result of the call below, a result joined twice in one
// statement, a global changed between the calls.
string g = "G"
string rep(num n, string s) {
  string k = s + "."
  if (n <= 0) {
    return k
  }
  k = rep(n - 1, k) + "|" + s
  return k
}
string twice(string s) {
  string a = rep(2, s)
  a = a + rep(1, a)
  return a
}
num main() {
  num i = 0
  string r
  while (i < 4) {
    r = rep(i, g) + "!"
    string t = twice(r)
    msgbox(t, "t", 0)
    g = g + "x"
    i += 1
  }
  msgbox(r, "r", 0)
  return getlen(r)
}
