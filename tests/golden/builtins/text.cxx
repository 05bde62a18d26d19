// getlen, stringtonum, numtostring, getat and getstr with their edge cases;
// the empty literal has no text storage and counts as a missing argument.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  string e
  string s = "abcdef"
  num i = 0
  num j = 0
  show("getlen abc", getlen("abc"))
  show("getlen empty", getlen(""))
  show("getlen unassigned", getlen(e))
  show("stringtonum hex", stringtonum(" 0x1F"))
  show("stringtonum sign", stringtonum("-12abc"))
  show("stringtonum none", stringtonum("abc"))
  show("stringtonum wrap", stringtonum("4294967295"))
  show("stringtonum plus", stringtonum("+0X10"))
  msgbox(numtostring((-42)), "numtostring -42", 0)
  msgbox(numtostring(0), "numtostring 0", 0)
  msgbox(numtostring(2147483647), "numtostring max", 0)
  msgbox(numtostring(2147483647 + 1), "numtostring min", 0)
  msgbox(getat("abc", 0), "getat 0", 0)
  msgbox(getat("abc", 2), "getat 2", 0)
  msgbox(getat("abc", 3), "getat 3", 0)
  msgbox(getat("abc", (-1)), "getat -1", 0)
  msgbox(getat("a", 0), "getat single", 0)
  msgbox(getat("", 0), "getat empty", 0)
  msgbox(getstr(s, 1, 3), "getstr 1 3", 0)
  msgbox(getstr(s, 0, 5), "getstr whole", 0)
  msgbox(getstr(s, 2, 2), "getstr 2 2", 0)
  msgbox(getstr(s, 3, 1), "getstr 3 1", 0)
  msgbox(getstr(s, 0, 6), "getstr 0 6", 0)
  msgbox(getstr(e, 0, 0), "getstr unassigned", 0)
  // A failed string built-in gives the empty string, not an earlier result.
  msgbox(numtostring(7) + getat(s, 99), "after failure", 0)
  // Scanning with getstr stops at the first bad range or at first == last.
  while (getstr(s, i, 5) != "") {
    j += 1
    i += 1
  }
  show("scan passes", j)
  getlen(s)
  return getlen(getstr(s, 0, 2) + getat(s, 5))
}
