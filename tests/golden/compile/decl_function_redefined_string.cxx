num f() { return 1 }
string f
