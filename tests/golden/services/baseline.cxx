// A fresh Windows XP machine runs a few standard services; their configuration
// is in the registry, where the registry built-ins read it.
string szServices = "SYSTEM\CurrentControlSet\Services"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}

num main() {
  num i = 0
  string szName = enumsubreg(HKEY_LOCAL_MACHINE, szServices, 0)
  while (szName != "") {
    say(szName + ": type " + numtostring(getregvalued(HKEY_LOCAL_MACHINE, szServices + "\" + szName, "Type")) +
        ", start " + numtostring(getregvalued(HKEY_LOCAL_MACHINE, szServices + "\" + szName, "Start")) +
        ", " + getregvalues(HKEY_LOCAL_MACHINE, szServices + "\" + szName, "ImagePath"))
    i += 1
    szName = enumsubreg(HKEY_LOCAL_MACHINE, szServices, i)
  }
  say("Net class: " + getregvalues(HKEY_LOCAL_MACHINE, "SYSTEM\CurrentControlSet\Control\Class\{4D36E972-E325-11CE-BFC1-08002BE10318}", "Class"))
  say("DevicePath: " + getregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\Microsoft\Windows\CurrentVersion", "DevicePath"))
  // Stopping one and starting it again goes through the service control manager.
  stopservice("Beep")
  startservice("Beep")
  return startservice("Tcpip")
}
