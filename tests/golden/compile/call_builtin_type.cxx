num main() { getat(1, 1) return 0 }
