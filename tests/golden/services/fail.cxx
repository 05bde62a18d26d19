// Injected service control manager failures on the paths that print an error
// code.
string szImage = WINDIR_SYSTEM32_DRIVERS + "\goldsvc.sys"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  extractresfile("goldsvc.sys", szImage)
  sayn("create marked", createservice("goldsvc", 3, szImage))
  sayn("manager denied", stopservice("goldsvc"))
  sayn("create, start times out", createservice("goldsvc", 3, szImage))
  sayn("restart flag", checkisneedreboot())
  sayn("start", startservice("goldsvc"))
  sayn("stop refused", stopservice("goldsvc"))
  sayn("open denied", startservice("goldsvc"))
  stopservice("goldsvc")
  return deletereg(HKEY_LOCAL_MACHINE, "SYSTEM\CurrentControlSet\Services\goldsvc")
}
