num main() { num x if (1) { num x } return 0 }
