num main() { if () { } return 0 }
