num f(num a);
num main() { return f("x") }
