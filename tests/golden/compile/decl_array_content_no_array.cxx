num a
num main() { a = {1} return a }
