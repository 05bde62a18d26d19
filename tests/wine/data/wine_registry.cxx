// Writes registry keys and values through the built-ins and leaves them, so
// that the registry can be read back with the system's own tools:
//   /write   the keys and values, and a kernel driver service (not started:
//            its image file does not exist)
//   /remove  both again
// A script's text has no escapes and a command's parameters are quoted into
// the prelude, so no name or text here can hold a double quote.
string szKey = "SOFTWARE\Golden Readback"
string szService = "goldreadsvc"

num write() {
  deletereg(HKEY_LOCAL_MACHINE, szKey)
  addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", "Golden Readback")
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Name", REG_TYPE_SZ, "Acme Reader 2.4")
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Count", REG_TYPE_DWORD, 3)
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Negative", REG_TYPE_DWORD, (-5))
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Zero", REG_TYPE_DWORD, 0)
  // Blanks, backslashes, brackets and other punctuation. (An empty name or
  // text, and so the default value, is refused as a missing argument.)
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "  two  blanks ", REG_TYPE_SZ, " x  y ")
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "back\slash\", REG_TYPE_SZ, "\\server\share\")
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "[bracket]=", REG_TYPE_SZ, "[HKEY_LOCAL_MACHINE\x]")
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "semi;colon", REG_TYPE_SZ, "; not a comment")
  // Windows-1252 characters: the test puts the bytes 0xE9 and 0xFC for @E9@
  // and @FC@ (the file itself stays ASCII).
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Caf@E9@", REG_TYPE_SZ, "M@FC@nchen")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Gr@FC@n")
  // A text long enough that a hex form would wrap.
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Long", REG_TYPE_SZ,
               "0123456789abcdefghijklmnopqrstuvwxyz0123456789abcdefghijklmnopqrstuvwxyz0123456789")
  // Nested keys, names with blanks, brackets and other punctuation.
  addregvalues(HKEY_LOCAL_MACHINE, szKey + "\Sub\Deeper", "Path", REG_TYPE_SZ, "C:\Program Files\Acme")
  addregvalued(HKEY_LOCAL_MACHINE, szKey + "\MixedCase", "Flag", REG_TYPE_DWORD, 0x7FFFFFFF)
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Key With  Blanks")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "[Bracketed] {1-2} (x) =;,.!#$%&'@~")
  addsubreg(HKEY_LOCAL_MACHINE, szKey + "\Sub", "Empty Leaf")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Sub_Key")
  // Keys removed again, one by one and by a search.
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Gone")
  deletereg(HKEY_LOCAL_MACHINE, szKey + "\Gone")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Old Reader")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Reader 1")
  deleteregbyfindstr(HKEY_LOCAL_MACHINE, szKey, "Reader")
  addsubreg(HKEY_LOCAL_MACHINE, szKey + "\Locked", "Child")
  deleteregx(HKEY_LOCAL_MACHINE, szKey + "\Locked", SECU_FULL)
  // Overwritten with another type, through another spelling of the name.
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "COUNT", REG_TYPE_SZ, "three")
  // The service's key: REG_DWORD, REG_SZ and REG_EXPAND_SZ values written by
  // the service control manager.
  createservice(szService, 3, WINDIR_SYSTEM32_DRIVERS + "\" + szService + ".sys")
  return getregvalued(HKEY_LOCAL_MACHINE, szKey, "Negative")
}

num remove() {
  deleteservice(szService)
  return deletereg(HKEY_LOCAL_MACHINE, szKey)
}

num main() {
  if (_Parameters[0] == "remove") {
    return remove()
  }
  return write()
}
