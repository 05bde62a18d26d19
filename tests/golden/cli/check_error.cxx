// --check reports as Action does; nothing runs.
num main() {
  num x = 1
  x = 2;
  return x
}
