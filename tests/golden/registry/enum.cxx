// enumsubreg walks the subkeys in the registry's order (by name, without
// regard to case) and answers the empty string past the end.
string szKey = "SOFTWARE\Golden Enum"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}

num main() {
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "beta")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Alpha")
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "NotAKey", REG_TYPE_DWORD, 1)
  num i = 0
  string szName = enumsubreg(HKEY_LOCAL_MACHINE, szKey, 0)
  while (szName != "") {
    say(numtostring(i) + ": " + szName)
    i += 1
    szName = enumsubreg(HKEY_LOCAL_MACHINE, szKey, i)
  }
  say("negative: [" + enumsubreg(HKEY_LOCAL_MACHINE, szKey, (-1)) + "]")
  say("missing key: [" + enumsubreg(HKEY_LOCAL_MACHINE, szKey + "\None", 0) + "]")
  say("leaf: [" + enumsubreg(HKEY_LOCAL_MACHINE, szKey + "\Alpha", 0) + "]")
  deletereg(HKEY_LOCAL_MACHINE, szKey)
  return i
}
