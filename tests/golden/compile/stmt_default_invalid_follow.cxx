num main() { switch (1) { default: { } 5 } return 0 }
