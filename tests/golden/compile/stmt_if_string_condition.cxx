num main() { if ("a") { } return 0 }
