num main() { x = 1 return 0 }
