// Parameters of main start as 0 and the empty string; the command line
// reaches the script only through the prelude's globals.
num main(num n, string s) {
  msgbox(s, "s", 0)
  return n + getlen(_Parameters[0])
}
