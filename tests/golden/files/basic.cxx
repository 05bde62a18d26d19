// copyfile, deletefile, deletefilex, createdirectory and extractresfile in a
// work directory: success, silent failures, and the reported error codes.
string szDir = WINDIR_TEMP + "\golden files"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  sayn("createdirectory", createdirectory(szDir))
  sayn("again", createdirectory(szDir))
  sayn("missing parent", createdirectory(szDir + "\no\such"))
  sayn("extract", extractresfile("drv.inf", szDir + "\drv.inf"))
  sayn("extract over", extractresfile("drv.sys", szDir + "\drv.inf"))
  sayn("a file counts", createdirectory(szDir + "\drv.inf"))
  sayn("other case", extractresfile("DRV.INF", szDir + "\x.inf"))
  sayn("missing dir", extractresfile("drv.inf", szDir + "\no\x.inf"))
  sayn("copyfile", copyfile(szDir + "\drv.inf", szDir + "\copy.inf"))
  sayn("over a copy", copyfile(szDir + "\drv.inf", szDir + "\copy.inf"))
  sayn("missing source", copyfile(szDir + "\none.inf", szDir + "\copy2.inf"))
  sayn("missing target dir", copyfile(szDir + "\drv.inf", szDir + "\no\copy.inf"))
  sayn("deletefile", deletefile(szDir + "\copy.inf"))
  sayn("deletefile again", deletefile(szDir + "\copy.inf"))
  sayn("deletefile dir", deletefile(szDir + "\no\copy.inf"))
  // The separator is always inserted: "dir\" + "\" + name still names the file.
  sayn("deletefilex", deletefilex("drv.inf", szDir + "\"))
  sayn("deletefilex again", deletefilex("drv.inf", szDir))
  sayn("deletefilex dir", deletefilex("drv.inf", szDir + "\no"))
  sayn("empty name", deletefile(""))
  return deletedirectory(szDir)
}
