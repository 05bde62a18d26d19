// The arrays of one run share a budget of elements: recursion cannot
// multiply a large local array without end. Four calls fit, the fifth fails;
// the next run has the whole budget again.
num depth = 0

num nest(num n) {
  num grid[2048][2048]
  depth = n
  grid[2047][2047] = n
  return nest(n + 1) + grid[2047][2047]
}

num main() {
  return nest(1)
}
