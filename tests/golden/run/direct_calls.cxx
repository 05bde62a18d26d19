// Calls that the loop machine makes itself: a function whose body runs on
// the machine throughout (num parameters, locals and result; no strings, no
// elements, no divisions but by literals) gets a frame of its own cells. The
// first parameter picks an ending (0: none).
num total = 0

num show(string label, num value) {
  msgbox(label + "=" + numtostring(value), "direct", 0)
  return value
}

num fib(num n) {
  if (n < 2) {
    return n
  }
  return fib(n - 1) + fib(n - 2)
}

// Every call has its own locals: the inner calls leave the outer ones alone.
num nest(num n) {
  num mine
  num inner
  mine = n * 10
  inner = 0
  if (n > 0) {
    inner = nest(n - 1)
  }
  return mine * 100 + inner % 100 + mine
}

// A global changed inside the call is seen by the caller afterwards.
num addTotal(num v) {
  total += v
  return total
}

num accumulate(num n) {
  num i
  i = 0
  while (i < n) {
    i += 1
    addTotal(i)
  }
  return total * 10 + addTotal(0) % 10
}

// break and continue leave values behind in the call; the caller's names
// and the next calls still find the right variables.
num firstOver(num limit) {
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

num pick(num n) {
  num r
  r = 0
  switch (n % 4) {
    case 0:
      r = 10
      break
    case 1:
      r = firstOver(n)
    case 2:
      r += 100
      break
    default: {
      r = 0 - 1
    }
  }
  return r
}

// Declarations with initializers run on the machine too.
num declared(num n) {
  num early = total + n
  num later = early * 2
  num product = early * later
  return product * 1000 + early * 10 + later
}

// No return: the num function's empty value.
num silent(num v) {
  total += v
}

// The callee's first parameter is named like the caller's second one: the
// second argument still reads the caller's variable.
num g(num y, num z) {
  return y * 1000 + z
}

num swapped(num z, num y) {
  return g(z, y) + g(y, z) * 10
}

// A callee that divides by its parameter is not direct: the walk makes
// that call, and reports its failure.
num divide(num a, num b) {
  return a / b
}

num useDivide(num a, num b) {
  return divide(a, b) + 1
}

// Mutual recursion declared ahead.
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

num down(num n) {
  return down(n + 1) + 1
}

num main() {
  num ending = 0
  if (_Parameters_Num > 0) {
    ending = stringtonum(_Parameters[0])
  }
  show("fib", fib(15))
  show("nest", nest(3))
  show("accumulate", accumulate(4))
  show("total", total)
  show("firstOver", firstOver(7))
  num k = 0
  while (k < 5) {
    show("pick", pick(k))
    k += 1
  }
  show("declared", declared(3) + declared(4) * 0)
  show("silent", silent(5) + total)
  show("swapped", swapped(1, 2))
  show("useDivide", useDivide(9, 3))
  show("isEven", isEven(7) * 10 + isEven(10))
  if (ending == 1) {
    show("useDivide", useDivide(9, 0))
  }
  if (ending == 2) {
    show("down", down(0))
  }
  return total
}
