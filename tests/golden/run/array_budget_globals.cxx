// Globals that together exceed the element budget: the run does not start.
num a[2048][2048]
num b[2048][2048]
num c[2048][2048]
num d[2048][2048]
string e[2]
num main() {
  return 1
}
