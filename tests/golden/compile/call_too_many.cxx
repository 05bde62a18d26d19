num f(num a);
num main() { return f(1, 2) }
