num main() { switch (1) { case 1: { } case 0x1: { } } return 0 }
