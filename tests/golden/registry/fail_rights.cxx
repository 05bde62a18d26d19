// Injected failures in the walk that opens a key tree to everyone, and in the
// deletions: every step reports and the operations go on.
string szKey = "SOFTWARE\Golden Rights"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "A")
  // Open 1 (KEY_READ) works, open 2 (the walk) fails: "set key right" fails.
  sayn("deleteregx", deleteregx(HKEY_LOCAL_MACHINE, szKey, SECU_FULL))
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, szKey))
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "A")
  // The security descriptor steps fail one after the other, then the open of
  // the second key's DACL; the tree deletion that follows fails as well.
  sayn("deleteregx", deleteregx(HKEY_LOCAL_MACHINE, szKey, SECU_FULL))
  sayn("kept", checkregstatus(HKEY_LOCAL_MACHINE, szKey + "\A"))
  return deletereg(HKEY_LOCAL_MACHINE, szKey)
}
