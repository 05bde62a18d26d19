// Windows XP x64 is the 5.2 kernel: a version code of its own, the XP
// directories, and a 64-bit driver package installs.
num main() {
  string dirs = WINDIR + "|" + WINDIR_SYSTEM32
  msgbox(dirs, "Profile", 0)
  num u = updatedevicebyhardwareid("C:\pkg\x64only.inf", "USB\VID_1234&PID_5678")
  return getwinversion() * 100 + u * 10 + getlanguage()
}
