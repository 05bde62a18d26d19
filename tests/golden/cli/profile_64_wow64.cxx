// A 64-bit profile with --wow64: the 32-bit DLL on 64-bit Windows 10 may not
// install the driver (ERROR_IN_WOW64), whatever the INF offers.
num main() {
  num u = updatedevicebyhardwareid("C:\pkg\x64only.inf", "USB\VID_1234&PID_5678")
  msgbox(numtostring(u), "update", 0)
  return getwinversion()
}
