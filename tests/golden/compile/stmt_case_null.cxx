num main() { switch (1) { case : { } } return 0 }
