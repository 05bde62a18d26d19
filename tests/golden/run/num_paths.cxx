// Num fast paths next to every other type: operators, assignments and
// compound assignments on scalars and array elements, in loops and calls.
num g = 5
string gs = "ab"
num grid[3][4]

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return v
}

num twice(num x) {
  return x * 2
}

num fill(num n) {
  num cells[5]
  num i = 0
  num k = 0
  while (i < 5) {
    cells[i] = i * n + g
    cells[i] += i
    cells[(i + 1) % 5] -= 1
    i += 1
  }
  i = 0
  while (i < 5) {
    k = k + cells[i] * (i + 1)
    i += 1
  }
  return k
}

num main() {
  num a = 1
  num b = 2
  num c = 0
  string s = "x"
  string t = "y"
  a = b = 7
  show("chain", a + b)
  c = (a = 3) + (b = 4)
  show("assign value", c)
  show("call operands", twice(a) + twice(b) * twice(c - 1))
  show("global", g * 3 - a)
  g += twice(2)
  show("global after", g)
  c = 0
  while (c < 3) {
    grid[c][c + 1] = c * 10 + 1
    grid[c][0] += grid[c][c + 1] + 1
    c += 1
  }
  show("grid", grid[0][0] + grid[1][0] * 100 + grid[2][0] * 10000 + grid[2][3])
  c = 0
  b = 0
  while (c < 12) {
    b = b * 3 + grid[c % 3][c / 3] - grid[(c + 1) % 3][0] % 7
    c += 1
  }
  show("grid walk", b)
  show("fill", fill(3))
  show("fill again", fill(4))
  if (s + t == "xy") {
    show("string compare", 1)
  }
  if (s < t) {
    show("string less", 1)
  }
  s += t
  s = s + "z" + gs
  msgbox(s, "string", 0)
  show("compare mixed", (1 < 2) + (s == "xyzab") * 2 + (s != "q") * 4)
  show("div", 17 / 5 + 17 % 5 * 100)
  c = 100
  c /= 7
  c %= 5
  c *= 0 - 3
  c -= 0 - 2
  show("compound", c)
  show("folded", (2 + 3) * (4 - 1) + c)
  show("last", a * 1000 + b * 100 + c)
  return 0
}
