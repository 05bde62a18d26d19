num main() { num n if (n == 1) { n = 2 } else if (n == 2) { n = 3 } return n }
