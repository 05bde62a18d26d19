// driverstore, exempt from the file system redirector of a 32-bit process
// on 64-bit Windows 7 and later, stays in the real system32.
string szProbe = WINDIR_TEMP + "\golden_wow64_probe.tmp"
string szNative = WINDIR + "\Sysnative"
string szWow = WINDIR + "\SysWOW64"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}
// 1 when the process sees a file at `path`.
num exists(string path) {
  num n = copyfile(path, szProbe)
  if (n == 1) {
    deletefile(szProbe)
  }
  return n
}

// Writes a file through `dir` and tells where the process sees it.
num place(string label, string dir) {
  string szFile = "\golden_wow64.txt"
  sayn(label + " written", extractresfile("payload.bin", WINDIR_SYSTEM32 + dir + szFile))
  sayn(label + " in system32 (real)", exists(szNative + dir + szFile))
  sayn(label + " in SysWOW64", exists(szWow + dir + szFile))
  deletefile(WINDIR_SYSTEM32 + dir + szFile)
  return 0
}

num main() {
  // Exempt from Windows 7 on: driverstore stays in the real system32
  // (created there through Sysnative).
  createdirectory(szNative + "\driverstore")
  place("driverstore", "\driverstore")
  return 0
}
