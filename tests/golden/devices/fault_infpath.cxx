// The driver key opens but its InfPath cannot be read: reported, and the
// device is removed without its OEM files.
num main() {
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  return deletedriverbyhardwareid("root\vdev") * 10 + checkdevicestatus("root\vdev")
}
