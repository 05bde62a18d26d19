num main() { switch (1) { default: { return 1 ; } } return 0 }
