// Recursion without end stops at the host stack's limit with one report.
num down(num n) {
  return down(n + 1) + 1
}

num main() {
  return down(0)
}
