// --trace=statements: every statement that runs, with the if, while and
// switch that choose the next ones; the loop runs on the tree walk then.
num main() {
  num i = 0
  num x = 0
  while (i < 3) {
    i += 1
    if (i == 2) {
      continue
    }
    x += i
  }
  switch (x) {
    case 4:
      x = 40
    case 5:
      x = 50
      break
    default: {
      x = 0
    }
  }
  return x
}
