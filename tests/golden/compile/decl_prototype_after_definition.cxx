string f() { return "a" }
num g() { return 1 }
string f();
