// On a Windows 98 system restarting needs no privilege; a Chinese locale
// gives language 1.
num main() {
  msgbox(numtostring(getwinversion()), "version", 0)
  msgbox(numtostring(getlanguage()), "language", 0)
  return reboot()
}
