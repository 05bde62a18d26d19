// Never runs: without SetupApi.dll the library refuses to load.
num main() {
  return 5
}
