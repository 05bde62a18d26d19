// The file system redirector of a 32-bit process on 64-bit Windows 10:
// system32 and everything below it is SysWOW64, the drivers directory too;
// Sysnative reaches the real system32; the exempt subdirectories stay in
// the real system32. The WINDIR constants still name system32.
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
  say("WINDIR_SYSTEM32 = WINDIR + " + getstr(WINDIR_SYSTEM32, getlen(WINDIR), getlen(WINDIR_SYSTEM32) - 1))
  place("system32", "")
  place("drivers", "\drivers")
  // Exempt: these stay in the real system32 (created there through Sysnative).
  createdirectory(szNative + "\drivers\etc")
  place("drivers\etc", "\drivers\etc")
  createdirectory(szNative + "\catroot")
  place("catroot", "\catroot")
  createdirectory(szNative + "\catroot2")
  place("catroot2", "\catroot2")
  createdirectory(szNative + "\logfiles")
  place("logfiles", "\logfiles")
  createdirectory(szNative + "\spool")
  place("spool", "\spool")
  createdirectory(szNative + "\driverstore")
  place("driverstore", "\driverstore")
  // Through Sysnative the process writes the real system32\drivers.
  sayn("native written", extractresfile("payload.bin", szNative + "\drivers\golden_native.sys"))
  sayn("native through system32", exists(WINDIR_SYSTEM32_DRIVERS + "\golden_native.sys"))
  sayn("native through Sysnative", exists(szNative + "\drivers\golden_native.sys"))
  sayn("native deleted", deletefile(szNative + "\drivers\golden_native.sys"))
  return 0
}
