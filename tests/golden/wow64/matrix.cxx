// A 32-bit driver installer across a mixed fleet with the 32-bit DLL: on
// 32-bit Windows the driver starts; on 64-bit Windows 10 the driver lands in
// SysWOW64\drivers, its service cannot start, and setup-run warns why.
string szImage = WINDIR_SYSTEM32_DRIVERS + "\goldwow.sys"

num main() {
  extractresfile("payload.bin", szImage)
  createservice("goldwow", 3, szImage)
  return checkisneedreboot()
}
