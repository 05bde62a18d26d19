string s
num main() { s = "ab" - "cd" return 0 }
