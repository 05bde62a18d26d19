// Runs between the import and the export of the registry.
num main() {
  return 0
}
