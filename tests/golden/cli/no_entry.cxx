// Never runs: SetupApi.dll lacks an entry point the library needs.
num main() {
  return 1
}
