num a
num main() { a = (1 + 2 return 0 }
