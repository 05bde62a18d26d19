// Calls the loop machine makes itself, in frames of cells.
num total = 0
num nest(num n) {
  num mine
  mine = n * 10
  if (n > 0) {
    mine += nest(n - 1) % 7
  }
  total += 1
  return mine
}
num skip(num limit) {
  num i
  i = 0
  while (1) {
    i += 1
    if (i % 3 == 0) {
      continue
    }
    if (i > limit) {
      break
    }
  }
  return i
}
num isOdd(num n);
num isEven(num n) {
  if (n == 0) {
    return 1
  }
  return isOdd(n - 1)
}
num isOdd(num n) {
  if (n == 0) {
    return 0
  }
  return isEven(n - 1)
}
num main() {
  num k = 0
  while (k < 20) {
    total += nest(k) + skip(k) + isEven(k)
    k += 1
  }
  return total
}
//80<0