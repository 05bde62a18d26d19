// --trace=statements: a macro expanded into a statement is named at the line
// where the macro is used; its built-in call as well.
define NOTIFY(text) msgbox(text, "macro", 0)
define BUMP count += 1

num count = 0

num main() {
  BUMP
  NOTIFY("first")
  BUMP
  return count
}
