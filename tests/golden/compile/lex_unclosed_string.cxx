string s = "abc
num main() { return 0 }
