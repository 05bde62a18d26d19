num main() { getat("abc", 1, 2) return 0 }
