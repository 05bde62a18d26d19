num main() { continue return 0 }
