// Script functions: recursion with fresh locals, arguments evaluated left to
// right, parameters hiding globals only inside their own frame, results
// discarded by call statements, bodies that end without return.
num y = 100
num depth = 0

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num fact(num n) {
  if (n < 2) {
    return 1
  }
  return n * fact(n - 1)
}

// A global initializer runs before main and may call functions.
num early = fact(4)

num fib(num n) {
  if (n < 2) {
    return n
  }
  return fib(n - 1) + fib(n - 2)
}

num keepLocal(num n) {
  num mine = n
  if (n > 0) {
    keepLocal(n - 1)
  }
  show("local after inner call", mine)
  return mine
}

num arg(string label, num v) {
  show(label, v)
  return v
}

num pair(num a, num b) {
  return a * 10 + b
}

num g(num y, num z) {
  return z
}

num f(num a) {
  return g(a, y)
}

num noReturn(num n) {
  num local = 55
  while (n > 0) {
    n -= 1
    continue
  }
}

string noText() {
  string local = "kept"
}

string greet(string who) {
  return "hello " + who
}

num main() {
  num before = 42
  show("early", early)
  show("fact 10", fact(10))
  show("fib 15", fib(15))
  keepLocal(2)
  show("order", pair(arg("first", 1), arg("second", 2)))
  show("global y", f(7))
  show("statement result dropped", fact(3) + 0)
  fact(5)
  show("no return", noReturn(20))
  msgbox(noText(), "no return string", 0)
  show("caller local intact", before)
  msgbox(greet("world"), "string result", 0)
  return fact(3)
}
