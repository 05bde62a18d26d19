// Without newdev.dll the library loads with a warning; updates then fail.
num main() {
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num r = updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num u = installusbdriver("C:\pkg\vdev.inf", "root\vdev")
  return r * 10 + u
}
