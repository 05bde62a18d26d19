// Parameter splitting: each parameter is the text after a "/" up to the next
// blank, "/" or end; text outside a parameter is skipped. The script shows
// every parameter and answers the count.
num main() {
  num i = 0
  while (i < _Parameters_Num) {
    msgbox(_Parameters[i], numtostring(i), 0)
    i += 1
  }
  return _Parameters_Num
}
