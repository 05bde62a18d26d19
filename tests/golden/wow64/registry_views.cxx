// --import-reg and --export-reg work on the machine's real layout, as a
// 64-bit registry editor does: the import fills both views, the 32-bit DLL
// sees and deletes only its own, and the export shows where its writes
// landed (HKLM\SYSTEM is not redirected).
string szKey = "SOFTWARE\Golden Views"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}

num main() {
  say("View: " + getregvalues(HKEY_LOCAL_MACHINE, szKey, "View"))
  num i = 0
  string szName = enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", 0)
  while (szName != "") {
    say("SOFTWARE subkey: " + szName)
    i += 1
    szName = enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", i)
  }
  deletereg(HKEY_LOCAL_MACHINE, szKey + "\Gone")
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Written", REG_TYPE_SZ, "by the 32-bit DLL")
  addregvalues(HKEY_LOCAL_MACHINE, "SYSTEM\Golden Views", "Written", REG_TYPE_SZ, "not redirected")
  return 0
}
