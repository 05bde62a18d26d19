// deleteservice removes the devices a service drives, with their OEM files,
// then the service; a service no device uses is deleted all the same.
num main() {
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num a = deleteservice("VDEV")
  num b = deleteservice("nosuchservice")
  return a * 100 + b * 10 + checkdevicestatus("root\vdev")
}
