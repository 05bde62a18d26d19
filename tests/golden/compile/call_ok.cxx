num f(num a, string b);
num main() { num n = f(1, "x") + getlen(getat("abc", 1)) msgbox("a" "b" 0) checkisneedreboot() return n }
num f(num a, string b) { return a }
