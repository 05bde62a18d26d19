// deletedirectory removes a tree; a name beginning with "." is left alone,
// which keeps its directory and makes the result 0.
string szDir = WINDIR_TEMP + "\golden tree"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  createdirectory(szDir)
  createdirectory(szDir + "\sub")
  createdirectory(szDir + "\sub\deeper")
  createdirectory(szDir + "\.hidden dir")
  extractresfile("drv.sys", szDir + "\a.sys")
  extractresfile("drv.sys", szDir + "\sub\b.sys")
  extractresfile("drv.sys", szDir + "\sub\deeper\c.sys")
  extractresfile("drv.sys", szDir + "\.keep")
  sayn("deletedirectory", deletedirectory(szDir))
  sayn("a.sys gone", deletefile(szDir + "\a.sys"))
  sayn("sub gone", createdirectory(szDir + "\sub\x"))
  sayn(".keep kept", deletefile(szDir + "\.keep"))
  sayn("with .hidden dir", deletedirectory(szDir))
  sayn(".hidden dir kept", createdirectory(szDir + "\.hidden dir\x"))
  deletedirectory(szDir + "\.hidden dir\x")
  sayn("remove it", deletedirectory(szDir + "\.hidden dir"))
  sayn("now empty", deletedirectory(szDir + "\"))
  sayn("missing", deletedirectory(szDir))
  return createdirectory(szDir) + deletedirectory(szDir)
}
