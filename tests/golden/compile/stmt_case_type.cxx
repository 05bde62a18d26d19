num main() { switch ("s") { case 1: { } } return 0 }
