num a
num main() { return a }
a.b = 1
