// The 32-bit DLL on 64-bit Windows: device installation calls fail with
// ERROR_IN_WOW64 (0xE0000235), as the real system refuses them.
num main() {
  num i = installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num u = updatedevicebyhardwareid("C:\pkg\vdev.inf", "USB\VID_1234&PID_5678")
  num d = disabledriverbyhardwareid("USB\VID_1234&PID_5678")
  msgbox(numtostring(u), "update", 0)
  return i * 100 + d * 10 + checkdevicestatus("USB\VID_1234&PID_5678")
}
