num r(num n) {
  return r(n + 1)
}
num main() {
  return r(0)
}
//E$5?