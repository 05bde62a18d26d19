// deletereg and deleteregx: whole trees go, a missing key is reported by
// deletereg and passed over silently by deleteregx; SECU_FULL opens every key
// of the tree before the deletion.
define PRESENT 2
string szBase = "SOFTWARE\Golden Delete"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}
num tree(string szKey) {
  addsubreg(HKEY_LOCAL_MACHINE, szKey + "\One", "Two")
  addregvalues(HKEY_LOCAL_MACHINE, szKey + "\One\Two", "Leaf", REG_TYPE_SZ, "x")
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Top", REG_TYPE_DWORD, 1)
  return checkregstatus(HKEY_LOCAL_MACHINE, szKey + "\One\Two")
}

num main() {
  sayn("tree", tree(szBase + "\A"))
  sayn("deletereg", deletereg(HKEY_LOCAL_MACHINE, szBase + "\A"))
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, szBase + "\A"))
  sayn("deletereg missing", deletereg(HKEY_LOCAL_MACHINE, szBase + "\A"))
  sayn("deletereg empty", deletereg(HKEY_LOCAL_MACHINE, ""))
  tree(szBase + "\B")
  sayn("deleteregx default", deleteregx(HKEY_LOCAL_MACHINE, szBase + "\B", SECU_DEFAULT))
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, szBase + "\B"))
  tree(szBase + "\C")
  sayn("deleteregx full", deleteregx(HKEY_LOCAL_MACHINE, szBase + "\C", SECU_FULL))
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, szBase + "\C"))
  tree(szBase + "\D")
  sayn("deleteregx other mode", deleteregx(HKEY_LOCAL_MACHINE, szBase + "\D", 7))
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, szBase + "\D"))
  sayn("deleteregx missing", deleteregx(HKEY_LOCAL_MACHINE, szBase + "\C", SECU_FULL))
  sayn("siblings kept", checkregstatus(HKEY_LOCAL_MACHINE, szBase))
  deletereg(HKEY_LOCAL_MACHINE, szBase)
  return checkregstatus(HKEY_LOCAL_MACHINE, szBase)
}
