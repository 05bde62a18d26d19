// The same command on three profiles: the version code differs, so the rows
// differ and the exit status is 5. Registry writes and a box are counted.
num main() {
  addregvalued(HKEY_LOCAL_MACHINE, "SOFTWARE\Acme", "Installs", REG_TYPE_DWORD, 1)
  addregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\Acme", "Path", REG_TYPE_SZ, WINDIR)
  if (getwinversion() == OS_VISTA) {
    msgbox("Newer Windows", "Setup", 0)
  }
  return getwinversion()
}
