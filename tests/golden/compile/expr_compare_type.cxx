string s
num main() { num a = s == 1 return 0 }
