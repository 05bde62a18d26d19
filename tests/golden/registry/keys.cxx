// checkregstatus and addsubreg: existing and missing keys, letter case, a
// second creation, missing parents, and joined paths at the 255-character limit.
string szBase = "SOFTWARE\Golden Keys"

// Puts a line on standard output: enumsubreg reports the path of a key that
// does not exist (and then its own result line).
num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}
// A text of n (at least 1) characters.
string pad(num n) {
  string s = "k"
  while (getlen(s) < n) {
    s = s + "k"
  }
  return s
}

num main() {
  sayn("SOFTWARE", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE"))
  sayn("other case", checkregstatus(HKEY_LOCAL_MACHINE, "software\MICROSOFT"))
  sayn("current user", checkregstatus(HKEY_CURRENT_USER, "Software"))
  sayn("missing", checkregstatus(HKEY_LOCAL_MACHINE, szBase))
  sayn("no such root", checkregstatus(0x7FFFFFF0, "SOFTWARE"))
  sayn("addsubreg", addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", "Golden Keys"))
  sayn("again", addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", "Golden Keys"))
  sayn("created", checkregstatus(HKEY_LOCAL_MACHINE, szBase))
  // Missing parents are created on the way.
  sayn("deep", addsubreg(HKEY_LOCAL_MACHINE, szBase + "\A\B", "C"))
  sayn("deep created", checkregstatus(HKEY_LOCAL_MACHINE, szBase + "\A\B\C"))
  // parent + "\" + name: 255 characters are taken, 256 refused without a message.
  string szLong = szBase + "\" + pad(100)
  sayn("parent length", getlen(szLong))
  sayn("255", addsubreg(HKEY_LOCAL_MACHINE, szLong, pad(133)))
  sayn("255 created", checkregstatus(HKEY_LOCAL_MACHINE, szLong + "\" + pad(133)))
  sayn("256", addsubreg(HKEY_LOCAL_MACHINE, szLong, pad(134)))
  sayn("256 created", checkregstatus(HKEY_LOCAL_MACHINE, szLong + "\" + pad(134)))
  sayn("no such root", addsubreg(0x7FFFFFF0, "SOFTWARE", "Golden Keys"))
  deletereg(HKEY_LOCAL_MACHINE, szBase)
  return checkregstatus(HKEY_LOCAL_MACHINE, szBase)
}
