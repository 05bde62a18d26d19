num main() { switch (1) { default { } } return 0 }
