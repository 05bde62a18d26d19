// createservice: a negative start type means automatic start; an image path of
// 254 characters or more is replaced by the default driver path; a driver
// whose image is missing is created but does not start, which asks for a
// restart; a disabled service does not start either.
string szServices = "SYSTEM\CurrentControlSet\Services\"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}
string pad(num n) {
  string s = "C:\"
  while (getlen(s) < n) {
    s = s + "p"
  }
  return s
}

num main() {
  extractresfile("goldsvc.sys", WINDIR_SYSTEM32_DRIVERS + "\autosvc.sys")
  sayn("negative start", createservice("autosvc", (-1), WINDIR_SYSTEM32_DRIVERS + "\autosvc.sys"))
  sayn("Start", getregvalued(HKEY_LOCAL_MACHINE, szServices + "autosvc", "Start"))
  sayn("restart flag", checkisneedreboot())
  sayn("253 characters", createservice("shortsvc", 3, pad(253)))
  say("ImagePath length: " + numtostring(getlen(getregvalues(HKEY_LOCAL_MACHINE, szServices + "shortsvc", "ImagePath"))))
  sayn("restart flag", checkisneedreboot())
  sayn("254 characters", createservice("longsvc", 3, pad(254)))
  say("ImagePath: " + getregvalues(HKEY_LOCAL_MACHINE, szServices + "longsvc", "ImagePath"))
  sayn("disabled", createservice("offsvc", 4, WINDIR_SYSTEM32_DRIVERS + "\autosvc.sys"))
  sayn("start disabled", startservice("offsvc"))
  // The registry is the service's configuration: without its key it is gone.
  stopservice("autosvc")
  deletereg(HKEY_LOCAL_MACHINE, szServices + "autosvc")
  sayn("start deleted", startservice("autosvc"))
  deletereg(HKEY_LOCAL_MACHINE, szServices + "shortsvc")
  deletereg(HKEY_LOCAL_MACHINE, szServices + "longsvc")
  deletereg(HKEY_LOCAL_MACHINE, szServices + "offsvc")
  deletefile(WINDIR_SYSTEM32_DRIVERS + "\autosvc.sys")
  return checkisneedreboot()
}
