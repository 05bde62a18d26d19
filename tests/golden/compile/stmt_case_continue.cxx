num main() { num i while (i < 9) { switch (i) { case 1: { continue } } } return 0 }
