// Every handler checks its arguments before its operation runs: a string
// without text storage ("" or never assigned) is a missing argument. Only
// msgbox accepts missing texts. Nothing here reaches the machine.
num main() {
  string e
  num r = 0
  r += checkregstatus(HKEY_LOCAL_MACHINE, e)
  r += addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", e)
  r += addregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\Acme", "Name", REG_TYPE_SZ, "")
  r += addregvalued(HKEY_LOCAL_MACHINE, e, "Count", REG_TYPE_DWORD, 1)
  r += getregvalued(HKEY_LOCAL_MACHINE, "SOFTWARE\Acme", e)
  msgbox(getregvalues(HKEY_LOCAL_MACHINE, e, "Name"), "getregvalues", 0)
  msgbox(enumsubreg(HKEY_LOCAL_MACHINE, e, 0), "enumsubreg", 0)
  r += deletereg(HKEY_LOCAL_MACHINE, e)
  r += deleteregx(HKEY_LOCAL_MACHINE, "", SECU_FULL)
  r += deleteregbyfindstr(HKEY_LOCAL_MACHINE, "SOFTWARE", e)
  r += copyfile(e, "C:\x.txt")
  r += copyfile("C:\x.txt", e)
  r += deletefile(e)
  r += deletefilex("x.txt", e)
  r += extractresfile(e, "C:\x.txt")
  r += createdirectory("")
  r += deletedirectory(e)
  r += createservice(e, 3, "drv.sys")
  r += createservice("Svc", 3, e)
  r += startservice(e)
  r += stopservice("")
  r += installdriverbyhardwareid(e, "ROOT\X")
  r += installusbdriver("x.inf", e)
  r += updatedevicebyhardwareid(e, e)
  r += deletedriverbyhardwareid(e)
  r += checkdevicestatus(e)
  r += disabledriverbyhardwareid(e)
  r += enabledriverbyhardwareid("")
  r += deleteservice(e)
  r += execute(e)
  return r
}
