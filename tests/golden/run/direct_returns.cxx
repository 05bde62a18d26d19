// Returns of direct bodies from inside loops and switch sections hand their
// num straight to the call; the leftovers of break and continue before them
// go with the call, and a later return of the same body is not confused
// with an earlier one. Calls alternate between functions so that frame
// records are reused by another function than the one that left them.
num total = 0

num show(string label, num value) {
  msgbox(label + "=" + numtostring(value), "returns", 0)
  return value
}

// A return from inside a nested loop after a continue and a break.
num firstSquareOver(num n) {
  num i = 0
  while (1) {
    i += 1
    if (i % 2 == 0) {
      continue
    }
    while (1) {
      if (i * i > n) {
        return i
      }
      break
    }
  }
}

// A return from a switch section, one that falls through, and the end of
// the body without a return.
num grade(num n) {
  switch (n % 4) {
    case 0:
      return 100
    case 1:
      total += 1
    case 2:
      return 200 + total
    default: {
      total += 10
    }
  }
}

// Every call of its own depth returns its own value.
num depth(num n) {
  if (n == 0) {
    return 0
  }
  while (1) {
    return depth(n - 1) + 1
  }
}

num main() {
  num k = 0
  num sum = 0
  while (k < 6) {
    sum += firstSquareOver(k * 7) * 1000 + grade(k) + depth(k) * 100000
    show("sum", sum)
    k += 1
  }
  show("grade3", grade(3))
  show("total", total)
  show("depth", depth(40))
  return sum % 1000
}
