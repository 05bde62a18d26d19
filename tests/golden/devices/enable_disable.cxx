// disable/enable by hardware id: every matching device; an unknown id is
// reported by disable and silently accepted by enable.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  show("disable unknown", disabledriverbyhardwareid("root\nothing"))
  show("enable unknown", enabledriverbyhardwareid("root\nothing"))
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  show("disable", disabledriverbyhardwareid("ROOT\vdev"))
  show("enable", enabledriverbyhardwareid("root\VDEV"))
  show("restart", checkisneedreboot())
  return 0
}
