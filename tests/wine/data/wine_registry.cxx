// Writes registry keys and values through the built-ins and leaves them, so
// that the registry can be read back with the system's own tools.
string szKey = "SOFTWARE\Golden Readback"

num main() {
  deletereg(HKEY_LOCAL_MACHINE, szKey)
  addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", "Golden Readback")
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Name", REG_TYPE_SZ, "Acme Reader 2.4")
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Count", REG_TYPE_DWORD, 3)
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Negative", REG_TYPE_DWORD, (-5))
  addregvalues(HKEY_LOCAL_MACHINE, szKey + "\Sub\Deeper", "Path", REG_TYPE_SZ, "C:\Program Files\Acme")
  addregvalued(HKEY_LOCAL_MACHINE, szKey + "\MixedCase", "Flag", REG_TYPE_DWORD, 0x7FFFFFFF)
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Gone")
  deletereg(HKEY_LOCAL_MACHINE, szKey + "\Gone")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Old Reader")
  addsubreg(HKEY_LOCAL_MACHINE, szKey, "Reader 1")
  deleteregbyfindstr(HKEY_LOCAL_MACHINE, szKey, "Reader")
  addsubreg(HKEY_LOCAL_MACHINE, szKey + "\Locked", "Child")
  deleteregx(HKEY_LOCAL_MACHINE, szKey + "\Locked", SECU_FULL)
  // Overwritten with another type.
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "COUNT", REG_TYPE_SZ, "three")
  return getregvalued(HKEY_LOCAL_MACHINE, szKey, "Negative")
}
