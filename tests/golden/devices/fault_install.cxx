// installdriverbyhardwareid when a step of the node's creation fails: each
// failure is reported with the platform's code and nothing is left behind.
num main() {
  num a = installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num b = installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num c = installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num d = installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num e = installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  return a * 10000 + b * 1000 + c * 100 + d * 10 + e
}
