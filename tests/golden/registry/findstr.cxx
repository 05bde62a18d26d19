// deleteregbyfindstr deletes every subkey whose name contains the text, by
// exact (case-sensitive) substring; a match whose joined path passes 255
// characters is kept.
string szKey = "SOFTWARE\Golden Find\Readers"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num list(string szParent) {
  num i = 0
  string szName = enumsubreg(HKEY_LOCAL_MACHINE, szParent, 0)
  while (szName != "") {
    say("  " + szName)
    i += 1
    szName = enumsubreg(HKEY_LOCAL_MACHINE, szParent, i)
  }
  return i
}
string pad(num n) {
  string s = "f"
  while (getlen(s) < n) {
    s = s + "f"
  }
  return s
}

num main() {
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Reader X 0")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Old Reader X")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Reader X")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "reader x 1")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Scanner")
  addsubreg(HKEY_LOCAL_MACHINE, szKey + "\Reader X 0", "Child")
  say("deleteregbyfindstr = " + numtostring(deleteregbyfindstr(HKEY_LOCAL_MACHINE, szKey, "Reader X")))
  list(szKey)
  say("missing key = " + numtostring(deleteregbyfindstr(HKEY_LOCAL_MACHINE, szKey + "\None", "X")))
  say("empty text = " + numtostring(deleteregbyfindstr(HKEY_LOCAL_MACHINE, szKey, "")))
  // Under a 220-character key: "Reader X" + 26 characters still fits, + 27 not.
  string szDeep = "SOFTWARE\Golden Find\" + pad(199)
  say("key length = " + numtostring(getlen(szDeep)))
  addregvalued(HKEY_LOCAL_MACHINE, szDeep + "\Reader X" + pad(26), "v", REG_TYPE_DWORD, 1)
  addregvalued(HKEY_LOCAL_MACHINE, szDeep + "\Reader X" + pad(27), "v", REG_TYPE_DWORD, 1)
  say("deleteregbyfindstr = " + numtostring(deleteregbyfindstr(HKEY_LOCAL_MACHINE, szDeep, "Reader X")))
  say("kept = " + numtostring(getlen(enumsubreg(HKEY_LOCAL_MACHINE, szDeep, 0))))
  say("more = [" + enumsubreg(HKEY_LOCAL_MACHINE, szDeep, 1) + "]")
  deletereg(HKEY_LOCAL_MACHINE, "SOFTWARE\Golden Find")
  return list(szKey)
}
