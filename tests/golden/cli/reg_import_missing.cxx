// Never runs: the registry file cannot be read.
num main() {
  return 1
}
