num a
num main() { a = a < return 0 }
