// A switch on i % 4 in a loop, every case ending in break; the first
// parameter is the number of passes.
num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num sum = 0
  while (i < n) {
    switch (i % 4) {
      case 0:
        sum += 1
        break
      case 1:
        sum += 3
        break
      case 2:
        sum += 5
        break
      case 3:
        sum -= 2
        break
    }
    i += 1
  }
  return sum % 1000003
}
