num f();
num main() { return f(1) }
