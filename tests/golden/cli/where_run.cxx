// A run failure: standard error names the innermost function.
num main() {
  return Outer(2)
}
num Outer(num n) {
  return Inner(n) + 1
}
num Inner(num n) {
  return n / (n - 2)
}
