// String building: appends digits, measuring and restarting the text every
// 100 characters; the first parameter is the number of appends.
num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  string s = "x"
  while (i < n) {
    s = s + numtostring(i % 10)
    if (getlen(s) >= 100) {
      total = total + getlen(s)
      s = "x"
    }
    i += 1
  }
  return total + getlen(s)
}
