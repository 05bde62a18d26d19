// Recursive function calls: the naive Fibonacci number of the first parameter.
num fib(num n) {
  if (n < 2) {
    return n
  }
  return fib(n - 1) + fib(n - 2)
}

num main() {
  return fib(stringtonum(_Parameters[0]))
}
//C0<0