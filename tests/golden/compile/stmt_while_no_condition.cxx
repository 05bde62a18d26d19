num main() { while () { } return 0 }
