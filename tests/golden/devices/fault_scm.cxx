// deleteservice when the service control manager cannot be opened.
num main() {
  return deleteservice("vdev")
}
