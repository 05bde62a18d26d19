// Folded operands, conditions, arguments and indexes behave as the literal
// they become: the same numbers on every pass, negative results included.
// Nested literal operators fold from the inside out in one pass, so
// `1 + 2 * 3` written as a statement fails on the second pass.
num x = 4
num twice(num n)
{
  return n * (3 - 1)
}

num main()
{
  num i = 0
  num t = 0
  num a[4]
  string s = ""
  while (i < 3 && 2 < 3) {
    if (1 - 1) {
      t += 1000
    }
    t += 0 - 5
    t += twice(10 / 5)
    a[1 + 1] += x + 2 * 3
    s = "k" + "v"
    t += getlen(s + ("a" + "b"))
    switch (7 % 4) {
      case 3 :
        t += 100
      default : {
        t += 1
      }
    }
    i += 1
  }
  msgbox(numtostring(t) + " " + numtostring(a[2]) + " " + s, "total", 0)
  i = 0
  while (i < 2) {
    1 + 2 * 3
    i += 1
  }
  return t
}
