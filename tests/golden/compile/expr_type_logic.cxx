num a
num main() { a = a || "x" return 0 }
