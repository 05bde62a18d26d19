// --trace: script calls and returns, indented by depth; the calls that the
// loop machine makes directly (fib inside the while) trace exactly as the
// tree walk's.
num fib(num n) {
  if (n < 2) {
    return n
  }
  return fib(n - 1) + fib(n - 2)
}

string label(num n) {
  return "n=" + numtostring(n)
}

num main() {
  num i = 0
  num sum = 0
  while (i < 2) {
    sum += fib(i + 2)
    i += 1
  }
  msgbox(label(sum), "calls", 0)
  return sum
}
