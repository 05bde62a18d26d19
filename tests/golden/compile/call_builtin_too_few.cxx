num main() { getat("abc") return 0 }
