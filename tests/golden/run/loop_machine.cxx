// Loops that the loop machine runs, with every way out of a statement:
// break, continue and return through if, while and switch, statements it
// hands to the tree walk (calls, strings, declarations), and failures deep
// inside nested constructs. The first parameter picks a failure (0: none).
num total = 0
num grid[3][4]
string trail = ""

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return v
}

// Calls inside loop statements run on the tree walk as operands, in their
// order among the other operands; bump changes a global that they read.
num bump(num v) {
  total += v
  return v
}

num declaredOnly(num v);

num note(num v) {
  trail += numtostring(v)
  return v
}

// break, continue and fallthrough in a switch inside a while.
num sections(num n) {
  num i = 0
  num sum = 0
  while (i < n) {
    i += 1
    switch (i % 6) {
      case 0:
        sum += 1
      case 1:
        sum += 10
        break
      case 5:
        sum += 1000
      default: {
        sum += 100
      }
      case 3:
        sum += 10000
        break
    }
  }
  return sum
}

// continue skips the rest of the body; a switch falls through its sections.
num skips(num n) {
  num i = 0
  num a = 0
  num b = 0
  while (i < n) {
    i += 1
    if (i % 4 == 0) {
      a += 1
      continue
    }
    switch (i % 3) {
      case 0:
        a += 1
        break
      case 1:
        b += 1
        b += 100
      case 2:
        a += 10
        a += 1000
      default: {
        b += 7
        b += 5000
      }
    }
  }
  return a * 100000 + b
}

// Returns from inside nested constructs, the result from a call.
num find(num target) {
  num i = 0
  while (1) {
    num j = 0
    while (j < 4) {
      if (i * 4 + j == target) {
        switch (j) {
          case 2:
            return show("found at 2", i * 10 + j)
          default: {
            return i * 10 + j
          }
        }
      }
      j += 1
    }
    i += 1
  }
  return 0 - 1
}

// Recursion through a loop: each call's loop reaches its own locals.
num depth(num n) {
  num k = 0
  num acc = n
  while (k < n) {
    acc += depth(n - 1)
    k += 1
  }
  return acc
}

// Elements, compound assignments on elements, strings handed to the walk.
num elements() {
  num r = 0
  while (r < 3) {
    num c = 0
    while (c < 4) {
      grid[r][c] = r * 10 + c
      grid[r][c] *= 2
      if (grid[r][c] % 4 == 0) {
        note(c)
      }
      c += 1
    }
    r += 1
  }
  msgbox(trail, "trail", 0)
  // A condition on strings: the tree walk runs this loop.
  while (trail != "02020233") {
    trail += "3"
  }
  msgbox(trail, "trail", 0)
  return grid[2][3] + grid[1][2]
}

num calls() {
  num j = 0
  num acc = 0
  total = 0
  while (bump(1) + j < 5) {
    j += 1
    acc = acc * 10 + total + bump(2) * 3 % 7
    acc += bump(1) / 2 - total
    acc -= getlen(trail) % 5
  }
  return acc * 100 + j
}

num main() {
  num which = stringtonum(_Parameters[0])
  show("calls", calls())
  show("sections", sections(20))
  show("skips", skips(9))
  show("find", find(7))
  show("find", find(10))
  show("depth", depth(4))
  show("elements", elements())
  num i = 0
  num x = 8
  while (i < 5) {
    i += 1
    if (which == 1) {
      switch (i) {
        case 3:
          if (i > 1) {
            x /= i - 3
          }
      }
    }
    if (which == 2) {
      while (x > 0) {
        x -= 3
        total += 10 / x
      }
    }
    if (which == 3) {
      grid[i][0] = 1
    }
    if (which == 4) {
      x = grid[0][i - 6]
    }
    if (which == 5) {
      x += grid[0][0] % (i - 2)
    }
    if (which == 6) {
      x = note(x) / (i - 4)
    }
    if (which == 7) {
      x += bump(1) + declaredOnly(i)
    }
    if (which == 8) {
      while (bump(i) < 100 + declaredOnly(i)) {
        x += 1
      }
    }
    total += x
  }
  show("total", total)
  show("x", x)
  return 0
}
