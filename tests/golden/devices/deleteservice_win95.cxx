// On a system detected as OS_WIN95 deleteservice does nothing and answers 1.
num main() {
  num before = checkdevicestatus("root\vdev")
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num r = deleteservice("vdev")
  return r * 100 + getwinversion() * 10 + checkdevicestatus("root\vdev") - before
}
