// A string built-in in a loop and its result compared: one of four names on
// every pass, its fourth character tested and its length added; the first
// parameter is the number of passes.
string names[4] = {"drvinst", "usbser", "serenum", "drvinst64"}

num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  string t
  while (i < n) {
    t = names[i % 4]
    if (getat(t, 3) == "i") {
      total += 7
    }
    total = (total + getlen(t)) % 1000003
    i += 1
  }
  return total
}
