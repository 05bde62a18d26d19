// A plugged-in USB device without a driver: installusbdriver installs it,
// also when the INF is found only after its copy into the INF store.
num main() {
  num before = checkdevicestatus("USB\VID_1234&PID_5678")
  num r = installusbdriver("C:\pkg\vdev.inf", "usb\vid_1234&pid_5678")
  num missing = installusbdriver("C:\pkg\vdev.inf", "USB\VID_FFFF&PID_0000")
  return before * 100 + r * 10 + missing
}
