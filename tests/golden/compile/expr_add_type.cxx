string s
num main() { s = s + 1 return 0 }
