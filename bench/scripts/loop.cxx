// A counting loop with arithmetic; the first parameter is the number of rounds.
num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num sum = 0
  while (i < n) {
    sum = (sum + (i * 7) % 13 + i / 3) % 1000003
    i += 1
  }
  return sum
}
