num main() { switch (1) { case 1 { } } return 0 }
