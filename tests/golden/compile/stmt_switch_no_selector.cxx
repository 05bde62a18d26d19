num main() { switch () { } return 0 }
