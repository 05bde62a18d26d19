num f() { return 1 }
num f() { return 2 }
