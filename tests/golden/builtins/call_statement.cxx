// A built-in call as a statement runs the handler and drops its value; a
// string built-in's missing arguments are reported before anything else.
num main() {
  string e
  getlen(e)
  msgbox(getat(e, 1), "missing text", 0)
  sleep(0)
  return 1
}
