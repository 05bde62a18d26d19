// The 32-bit DLL (--wow64) across a mixed fleet: on 32-bit Windows 7 it
// updates the driver, on 64-bit Windows 7 and 10 the update is refused with
// ERROR_IN_WOW64 and nothing changes but the INF's copy.
num main() {
  return updatedevicebyhardwareid("C:\pkg\vdev.inf", "USB\VID_1234&PID_5678")
}
