// Where the 32-bit DLL's files land on 64-bit Windows 10, as --diff shows
// the machine: system32 and its drivers directory in SysWOW64, drivers\etc
// and Sysnative in the real system32, lastgood\system32 in
// lastgood\SysWOW64 and regedit.exe in SysWOW64.
num main() {
  extractresfile("payload.bin", WINDIR_SYSTEM32 + "\golden_wow64.dll")
  extractresfile("payload.bin", WINDIR_SYSTEM32_DRIVERS + "\golden_wow64.sys")
  createdirectory(WINDIR_SYSTEM32_DRIVERS + "\etc")
  extractresfile("payload.bin", WINDIR_SYSTEM32_DRIVERS + "\etc\golden_wow64.txt")
  extractresfile("payload.bin", WINDIR + "\Sysnative\golden_native.dll")
  createdirectory(WINDIR + "\lastgood")
  createdirectory(WINDIR + "\lastgood\system32")
  extractresfile("payload.bin", WINDIR + "\lastgood\system32\golden_wow64.dll")
  extractresfile("payload.bin", WINDIR + "\regedit.exe")
  return 0
}
