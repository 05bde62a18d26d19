// Chains of string + over literals and names, as a loop runs them many
// times: the texts, empty operands with and without storage, operators over
// two literals that fold on their first run, and a chain long enough to pass
// the 15 bytes a text holds in place.
string g = "global"
num n = 4

string wrap(string a, string b) {
  return "[" + a + "|" + b + "]"
}

num main() {
  string s = "ab"
  string e
  string r
  string empty = ""
  num i = 0
  while (i < 3) {
    r = s + "-" + e + "x" + "y" + g
    msgbox(r, numtostring(getlen(r)), 0)
    r = "p" + "q" + s
    msgbox(r, "folded first", 0)
    r = e + empty
    msgbox(numtostring(getlen(r)), "empty operands", 0)
    msgbox(getstr(e + "", 0, 0), "empty with storage", 0)
    s = s + s + "SYSTEM\CurrentControlSet"
    msgbox(wrap(s, g), "long", 0)
    i += 1
  }
  msgbox(s + g + numtostring(n), "end", 0)
  return 0
}
