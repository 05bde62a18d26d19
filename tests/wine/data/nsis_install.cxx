// Packaged into the 32-bit Setup.dll that the NSIS installer test carries.
//   /install NAME   writes HKLM\SOFTWARE\Golden Nsis (Version, Name) and
//                   extracts readme.txt into C:\...\Golden Nsis; answers 42
//   /remove         removes both again; answers 1
string szKey = "SOFTWARE\Golden Nsis"

num main() {
  string dir = WINDIR + "\Golden Nsis"
  if (_Parameters[0] == "remove") {
    deletefile(dir + "\readme.txt")
    deletedirectory(dir)
    return deletereg(HKEY_LOCAL_MACHINE, szKey)
  }
  if (_Parameters_Num != 2 || _Parameters[0] != "install") {
    return 0
  }
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Version", REG_TYPE_SZ, "1.2")
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Name", REG_TYPE_SZ, _Parameters[1])
  createdirectory(dir)
  if (extractresfile("readme.txt", dir + "\readme.txt") == 0) {
    return 0
  }
  return 42
}
