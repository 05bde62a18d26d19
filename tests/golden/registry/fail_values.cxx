// Injected registry failures on the paths that print an error code: the value
// writes and the creations print the status the registry function returned;
// getregvalues prints the last error, which the registry leaves alone.
string szKey = "SOFTWARE\Golden Faults"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  sayn("value_sz", addregvalues(HKEY_LOCAL_MACHINE, szKey, "Name", REG_TYPE_SZ, "x"))
  sayn("value_dword", addregvalued(HKEY_LOCAL_MACHINE, szKey, "Count", REG_TYPE_DWORD, 1))
  sayn("create", addregvalued(HKEY_LOCAL_MACHINE, szKey, "Count", REG_TYPE_DWORD, 1))
  // Access denied: the key's tree is opened to everyone and the retry fails too.
  sayn("addsubreg", addsubreg(HKEY_LOCAL_MACHINE, szKey, "Sub"))
  sayn("written", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Count"))
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Name", REG_TYPE_SZ, "x")
  say("query: [" + getregvalues(HKEY_LOCAL_MACHINE, szKey, "Name") + "]")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Sub")
  say("enum: [" + enumsubreg(HKEY_LOCAL_MACHINE, szKey, 0) + "]")
  return checkregstatus(HKEY_LOCAL_MACHINE, szKey + "\Sub")
}
