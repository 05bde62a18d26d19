num a
num main() { a = "x" return 0 }
