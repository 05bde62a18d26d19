// Array indexing: sums a 1000-element array from both ends, once per round;
// the first parameter is the number of rounds.
num a[1000]

num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  while (i < 1000) {
    a[i] = i * 3
    i += 1
  }
  num sum = 0
  num r = 0
  while (r < n) {
    i = 0
    while (i < 1000) {
      sum = (sum + a[i] + a[999 - i]) % 1000003
      i += 1
    }
    r += 1
  }
  return sum
}
