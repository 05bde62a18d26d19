num main() { num i while (i < 3) { } return i }
