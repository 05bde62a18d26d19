num main() { = 5 }
