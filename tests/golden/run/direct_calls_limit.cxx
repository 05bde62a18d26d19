// The pass budget counts the calls that the loop machine makes itself, and
// loop passes inside them, as the walk counts them.
num fib(num n) {
  if (n < 2) {
    return n
  }
  return fib(n - 1) + fib(n - 2)
}

num spin(num n) {
  num i
  i = 0
  while (i < n) {
    i += 1
  }
  return i
}

num twice(num n) {
  return spin(n) + spin(n)
}

num main() {
  msgbox(numtostring(fib(6)), "passes", 0)
  msgbox(numtostring(twice(3)), "passes", 0)
  if (_Parameters_Num > 0) {
    msgbox(numtostring(twice(20)), "passes", 0)
  }
  return fib(12)
}
