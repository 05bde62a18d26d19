num main() { break return 0 }
