// A driver update that the system flags for a restart sets the restart flag
// for the rest of the run; the next run starts without it.
num main() {
  num before = checkisneedreboot()
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  return before * 10 + checkisneedreboot()
}
