// A 32-bit installer that writes its driver into WINDIR_SYSTEM32_DRIVERS on
// 64-bit Windows puts it in SysWOW64\drivers: the system resolves the
// service's image in the real system32, so the start fails with 2. Written
// through Sysnative, the driver starts.
string szImage = WINDIR_SYSTEM32_DRIVERS + "\goldwow.sys"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  sayn("extracted", extractresfile("payload.bin", szImage))
  sayn("createservice", createservice("goldwow", 3, szImage))
  sayn("restart flag", checkisneedreboot())
  sayn("through Sysnative", extractresfile("payload.bin", WINDIR + "\Sysnative\drivers\goldwow.sys"))
  sayn("startservice", startservice("goldwow"))
  stopservice("goldwow")
  deleteservice("goldwow")
  deletefile(szImage)
  deletefile(WINDIR + "\Sysnative\drivers\goldwow.sys")
  return 0
}
