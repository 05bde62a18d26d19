// Removal failures: a device without a driver has no OEM information; a
// refused removal is reported; unreadable driver keys are reported and the
// device is still removed.
num main() {
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num a = deletedriverbyhardwareid("root\vdev")
  num b = deletedriverbyhardwareid("root\vdev")
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num c = deletedriverbyhardwareid("root\vdev")
  return a * 100 + b * 10 + c
}
