num a
num main() { a = -1 return 0 }
