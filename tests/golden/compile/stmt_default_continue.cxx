num main() { num i while (i < 9) { switch (i) { default: { continue } } } return 0 }
