num main() { switch (1) { default: { } default: { } } return 0 }
