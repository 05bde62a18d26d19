num a
num main() { a = ; return 0 }
