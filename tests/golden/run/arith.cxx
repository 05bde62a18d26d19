// num arithmetic: 32-bit wrap-around, truncating division, the smallest num
// divided by -1, bit operators, && and || that test for exactly 1, grouping.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  num big = 2147483647
  num least = 0
  num i = 0
  show("wrap", big + 1)
  least = big + 1
  show("least/-1", least / (-1))
  show("least%-1", least % (-1))
  show("least*-1", least * (-1))
  show("7/-2", 7 / (-2))
  show("-7%2", (-7) % 2)
  show("7%-2", 7 % (-2))
  show("mul", 65536 * 65537)
  show("sub", 3 - 10)
  show("hex", 0x7fffffff + 0x10)
  show("and", 12 & 10)
  show("or", 12 | 10)
  show("2&&1", 2 && 1)
  show("1&&1", 1 && 1)
  show("1||5", 1 || 5)
  show("0||2", 0 || 2)
  show("prec", 1 + 2 * 3)
  show("left", 10 - 4 - 3)
  show("mixed", 20 / 3 * 3 + 20 % 3)
  show("cmp", 3 < 4)
  show("right", 3 < 2 < 1)
  show("eq-and", 1 == 1 && 2 == 2)
  show("ge", big >= least)
  show("le", big <= least)
  show("ne", big != big)
  // A literal subexpression is computed once and then read as a literal.
  while (i < 3) {
    show("fold", (1 + 2) * (10 - 4) + i)
    i += 1
  }
  return big - 2147483600
}
