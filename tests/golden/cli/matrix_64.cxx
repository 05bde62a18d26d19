// A driver package for 64-bit Windows only, on 32- and 64-bit installations:
// the 64-bit rows install it (the driver's file, service and registry keys
// are counted as changes), the 32-bit row finds no driver and differs.
num main() {
  return updatedevicebyhardwareid("C:\pkg\x64only.inf", "USB\VID_1234&PID_5678")
}
