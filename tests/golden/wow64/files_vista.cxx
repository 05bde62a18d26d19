// Before Windows 7 the redirector also sends system32\driverstore to
// SysWOW64; Sysnative exists from Windows Vista on.
string szProbe = WINDIR_TEMP + "\golden_wow64_probe.tmp"
string szFile = "\driverstore\golden_wow64.txt"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}
num exists(string path) {
  num n = copyfile(path, szProbe)
  if (n == 1) {
    deletefile(szProbe)
  }
  return n
}

num main() {
  createdirectory(WINDIR_SYSTEM32 + "\driverstore")
  sayn("written", extractresfile("payload.bin", WINDIR_SYSTEM32 + szFile))
  sayn("in system32 (real)", exists(WINDIR + "\Sysnative" + szFile))
  sayn("in SysWOW64", exists(WINDIR + "\SysWOW64" + szFile))
  deletefile(WINDIR_SYSTEM32 + szFile)
  deletedirectory(WINDIR_SYSTEM32 + "\driverstore")
  return 0
}
