num x
num main() { x = !x return 0 }
