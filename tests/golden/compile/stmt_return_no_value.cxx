num main() { return }
