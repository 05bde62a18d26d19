string s
num main() { s = s * s return 0 }
