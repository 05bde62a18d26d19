// A run failure: standard error names the innermost function and its callers.
num Outer(num n);
num Inner(num n);
num main() {
  return Outer(2)
}
num Outer(num n) {
  return Inner(n) + 1
}
num Inner(num n) {
  return n / (n - 2)
}
