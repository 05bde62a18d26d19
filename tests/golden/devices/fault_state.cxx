// disable/enable when the platform refuses a step: the failure is reported
// with the hardware id and the code, and the built-in answers 0.
num main() {
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num a = disabledriverbyhardwareid("root\vdev")
  num b = enabledriverbyhardwareid("root\vdev")
  num c = disabledriverbyhardwareid("root\vdev")
  return a * 100 + b * 10 + c
}
