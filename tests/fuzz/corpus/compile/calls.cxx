num f(num a);
num main() { getat("abc", 1) msgbox("a" "b" 0) return f(1) + strlen("x") }
