num f(num a, num b);
num main() { return f(1 2) }
