num main() { "a" += "b" return 0 }
