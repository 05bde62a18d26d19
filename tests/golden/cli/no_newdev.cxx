// Without newdev.dll the library loads with a warning.
num main() {
  return 3
}
