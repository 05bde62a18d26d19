// Subkeys come in the order Windows keeps them: names compared in upper case,
// so "SubB" comes before "Sub_x" and "[x]" after both (in lower case the
// order would be "[x]", "Key", "Sub_x", "SubB").
string szKey = "SOFTWARE\Golden Order"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}

num main() {
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "[x]")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Sub_x")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "SubB")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Key")
  num i = 0
  string szName = enumsubreg(HKEY_LOCAL_MACHINE, szKey, 0)
  while (szName != "") {
    say(numtostring(i) + ": " + szName)
    i += 1
    szName = enumsubreg(HKEY_LOCAL_MACHINE, szKey, i)
  }
  deletereg(HKEY_LOCAL_MACHINE, szKey)
  return i
}
