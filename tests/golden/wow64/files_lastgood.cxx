// lastgood\system32 of a 32-bit process on 64-bit Windows 10 is
// lastgood\SysWOW64; lastgood itself is not redirected.
string szProbe = WINDIR_TEMP + "\golden_wow64_probe.tmp"
string szLastGood = WINDIR + "\lastgood"

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

num main() {
  createdirectory(szLastGood)
  createdirectory(szLastGood + "\system32")
  sayn("system32 written", extractresfile("payload.bin", szLastGood + "\system32\golden_lastgood.dll"))
  sayn("system32 in lastgood\SysWOW64", exists(szLastGood + "\SysWOW64\golden_lastgood.dll"))
  sayn("lastgood written", extractresfile("payload.bin", szLastGood + "\golden_lastgood.txt"))
  sayn("lastgood in lastgood\SysWOW64", exists(szLastGood + "\SysWOW64\golden_lastgood.txt"))
  sayn("system32 deleted", deletefile(szLastGood + "\system32\golden_lastgood.dll"))
  sayn("lastgood deleted", deletefile(szLastGood + "\golden_lastgood.txt"))
  return 0
}
