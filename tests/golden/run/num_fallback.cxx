// Operator trees on nums that run as programs until a later pass finds an
// index out of range or a division by 0: the tree walk then reports it.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return v
}
num main() {
  num a = 4
  num cells[3]
  string s = "q"
  num which = stringtonum(_Parameters[0])
  if (which == 3) {
    a += 1 / (a - 4)
  }
  if (which == 4) {
    cells[a - 1] = 1
  }
  if (which == 5) {
    a %= a - 4
  }
  if (which == 6) {
    cells[1] += cells[2] / (a - 4)
  }
  if (which == 7) {
    show("x", (a * 2 + (a - 4) * 3) / (a - 4))
  }
  if (which == 8) {
    num k8 = 0
    num sum8 = 0
    while (k8 < 5) {
      sum8 = sum8 + cells[k8] * 2 + 1
      k8 += 1
    }
  }
  if (which == 9) {
    num grid[2][3]
    num k9 = 0
    num sum9 = 0
    while (k9 < 4) {
      sum9 = sum9 + grid[1][k9] + grid[k9 % 2][0]
      k9 += 1
    }
  }
  if (which == 10) {
    num k10 = 3
    show("neg", cells[k10 - 4] + 1)
  }
  return a
}
