num main() { while ("a") { } return 0 }
