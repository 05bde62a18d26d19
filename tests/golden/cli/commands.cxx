// One Action call per command line; the parameter count is the result.
num main() {
  return _Parameters_Num
}
