// --trace: a failure in the middle of a run. The division by 0 in the
// innermost call ends every call on the way up as failed; the trace before
// it stays as it was.
num ratio(num a, num b) {
  msgbox("dividing", "ratio", 0)
  return a / b
}

num outer(num b) {
  return ratio(10, b) + 1
}

num main() {
  outer(5)
  outer(0)
  msgbox("never", "main", 0)
  return 0
}
