// --check splits its command as Action does: a parameter longer than 252
// characters is refused with the same message, and nothing compiles.
num main() {
  return 1
}
