num a
num main() { 3 += a return 0 }
