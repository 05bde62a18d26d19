// if, while, break and continue, and the condition evaluated once per pass.
num count = 0

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num below(num i, num limit) {
  count += 1
  return i < limit
}

num main() {
  num i = 0
  num j = 0
  num sum = 0
  if (2) {
    show("if 2", 1)
  }
  if (0) {
    show("if 0", 1)
  } else {
    show("else", 1)
  }
  if (0) {
    show("never", 1)
  }
  while (below(i, 3)) {
    i += 1
  }
  show("conditions", count)
  i = 0
  while (1) {
    i += 1
    if (i == 4) {
      break
    }
    show("before break", i)
  }
  show("after break", i)
  i = 0
  while (i < 6) {
    i += 1
    if (i % 2 == 0) {
      continue
    }
    sum += i
  }
  show("odd sum", sum)
  i = 0
  sum = 0
  while (i < 3) {
    i += 1
    j = 0
    while (1) {
      j += 1
      if (j > i) {
        break
      }
      sum += 10
    }
  }
  show("inner breaks", sum)
  return 0
}
