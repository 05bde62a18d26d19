// The 64-bit DLL on the same 64-bit Windows installs the driver: the INF's
// NTamd64 models apply.
num main() {
  num i = installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num u = updatedevicebyhardwareid("C:\pkg\vdev.inf", "USB\VID_1234&PID_5678")
  num d = disabledriverbyhardwareid("USB\VID_1234&PID_5678")
  msgbox(numtostring(u), "update", 0)
  return i * 100 + d * 10 + checkdevicestatus("USB\VID_1234&PID_5678")
}
