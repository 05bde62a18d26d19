num main() { switch (1 { } return 0 }
