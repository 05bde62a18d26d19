string s
num main() { s -= "b" return 0 }
