# block comment #
num main() {
  string p = WINDIR_TEMP + "\fz"
  createdirectory(p)
  extractresfile("fuzz.cxx", p + "\copy.cxx")
  copyfile(p + "\copy.cxx", p + "\two.cxx")
  deletefilex("two.cxx", p)
  addregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\Fz", "v", REG_TYPE_SZ, "x")
  num d = getregvalued(HKEY_LOCAL_MACHINE, "SOFTWARE\Fz", "v")
  string e = enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", 0)
  deleteregx(HKEY_LOCAL_MACHINE, "SOFTWARE\Fz", SECU_FULL)
  createservice("fzsvc", 3, WINDIR_SYSTEM32_DRIVERS + "\fz.sys")
  stopservice("fzsvc")
  deleteservice("fzsvc")
  installdriverbyhardwareid(p + "\x.inf", "ROOT\FZ")
  checkdevicestatus("ROOT\FZ")
  deletedriverbyhardwareid("ROOT\FZ")
  deletedirectory(p)
  msgbox("a\nb", "c", MSG_YESNO)
  execute("notthere.exe /q")
  sleep(10)
  return getwinversion() + getlanguage() + checkisneedreboot() + d
}
//H 13