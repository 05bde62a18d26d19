// A switch in a loop: one of five num cases or the default on every pass;
// the first parameter is the number of rounds.
num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num sum = 0
  while (i < n) {
    switch (i % 7) {
      case 0:
        sum += 3
        break
      case 1:
        sum += 5
        break
      case 2:
      case 3:
        sum += 7
        break
      case 4:
        sum -= 2
        break
      default: {
        sum += 1
      }
    }
    sum = sum % 1000003
    i += 1
  }
  return sum
}
