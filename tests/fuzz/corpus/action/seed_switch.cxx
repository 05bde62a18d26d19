define TWICE(x) x + x
num n[3][2] = {1, 2, 3, 4, 5, 6}
string s[2] = {"a", "b",}
num f(num a, string b) {
  switch (b) {
    case "a": a += 1
      break
    case "b": {
      a *= 2
    }
    default: {
      a = TWICE(a)
    }
  }
  return a
}
num main() {
  num i = 0
  num r = 0
  while (i < 3) {
    if (i % 2 == 0) { r = r + f(n[i][1], s[i % 2]) } else { r -= 1 }
    i += 1
  }
  return r + getlen(getstr("abcdef", 1, 3)) + stringtonum(" 0x1F")
}
//G 62