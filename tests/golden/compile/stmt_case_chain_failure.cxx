num main() { num x switch (1) { case 1: x = 1 default: { x = 2 } case 2: x = 3 case 3: x = } return 0 }
