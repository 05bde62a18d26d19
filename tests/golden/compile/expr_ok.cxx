num a num b num c string s
num main() {
  a = (1 + 2) * 3 - 4 / 2 % 3
  b = a < b < c
  c = a == 1 && b == 2 || c != 3 & a | b
  s = "ab" + "cd"
  s += "x"
  a += b -= c *= 2
  a /= 1 a %= 2
  return (a = 3) + 1
}
