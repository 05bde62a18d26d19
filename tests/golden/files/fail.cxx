// Injected file system failures: a sharing violation on deletion is reported
// with its code, the other operations fail silently with 0, and a failed write
// of extractresfile is reported.
string szDir = WINDIR_TEMP + "\golden faults"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  sayn("createdirectory", createdirectory(szDir))
  sayn("extract", extractresfile("drv.sys", szDir + "\a.sys"))
  sayn("in use", deletefile(szDir + "\a.sys"))
  sayn("copy denied", copyfile(szDir + "\a.sys", szDir + "\b.sys"))
  sayn("create denied", createdirectory(szDir + "\sub"))
  sayn("write fails", extractresfile("drv.sys", szDir + "\c.sys"))
  sayn("not empty", deletedirectory(szDir))
  return deletedirectory(szDir)
}
