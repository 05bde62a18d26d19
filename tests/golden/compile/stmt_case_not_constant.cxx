num main() { num n switch (1) { case n: { } } return 0 }
