num grid[4][3]
string log = ""
num note(num v) {
  log += numtostring(v)
  return v
}
num main() {
  num i = 0
  num sum = 0
  while (i < 12) {
    i += 1
    if (i % 5 == 0) {
      continue
    }
    switch (i % 4) {
      case 0:
        sum += 3
        break
      case 1:
      case 2:
        grid[i % 4][i % 3] += i * 7 / (i % 3 + 1)
        break
      default: {
        sum -= note(i)
      }
    }
    num k = 0
    while (k < i) {
      k += 2
      if (k > 8) {
        break
      }
    }
    sum = (sum + k + grid[1][2]) % 1000003
  }
  return sum
}
//x 62
