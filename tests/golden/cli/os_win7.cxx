// The Windows version and language as the library sees them: 10 * OS code + language.
num main() {
  return getwinversion() * 10 + getlanguage()
}
