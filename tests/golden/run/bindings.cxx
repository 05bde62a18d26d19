// Name bindings that a remembered lookup could get wrong: every value is
// printed through numtostring so that the output shows which variable a
// name reached.
num y = 100
num count = 0
string tag = "global"

num show(string label, num value) {
  msgbox(label + "=" + numtostring(value), "bindings", 0)
  return value
}

// A parameter and a local that hide globals of the same names.
num hides(num count) {
  string tag = "local"
  msgbox(tag, "bindings", 0)
  return count + 1
}

num g(num y, num z) {
  return y * 1000 + z
}

// g's parameter y is bound before the second argument is evaluated; the
// second argument is still this frame's (or the global) y.
num f(num a) {
  return g(a, y)
}

// The local x exists from the call's start: the first statement already
// reads it, not the global x that the parser saw there.
num x = 1
num late() {
  num r = x
  num x = 5
  return r * 10 + x
}

// Declared before the global it reads, defined after it.
num usesLater();
num later = 7
num usesLater() {
  return later + 1
}

// Every call has its own local: the inner calls do not change the outer one.
num depth(num n) {
  num mine = n * 10
  if (n > 0) {
    depth(n - 1)
  }
  return mine
}

// A local array per call, filled and read in loops, elements passed on.
num sumTo(num n) {
  num cells[4]
  num i = 0
  while (i < 4) {
    cells[i] = n + i
    i += 1
  }
  num total = 0
  if (n > 0) {
    total = sumTo(n - 1)
  }
  i = 0
  while (i < 4) {
    total = total + g(i, cells[i]) % 1000
    i += 1
  }
  return total
}

// continue and break leave values in the frame; names found after them,
// and in a call made after them, still reach the right variables.
num leftovers(num n) {
  num i = 0
  num odd = 0
  while (i < n) {
    i += 1
    if (i % 2 == 0) {
      continue
    }
    odd += 1
    if (i > 100) {
      break
    }
  }
  return g(odd, i)
}

num noReturn(num n) {
  num k = n
  while (k > 0) {
    k -= 1
    continue
  }
}

num main() {
  show("count before", count)
  show("hides", hides(41))
  show("count after", count)
  msgbox(tag, "bindings", 0)
  show("f", f(3))
  show("late", late())
  show("x", x)
  show("usesLater", usesLater())
  show("depth", depth(3))
  show("sumTo", sumTo(3))
  show("leftovers", leftovers(9))
  show("leftovers again", leftovers(300))
  show("noReturn", noReturn(5))
  num round = 0
  while (round < 3) {
    show("loop f", f(round))
    round += 1
  }
  return y
}
