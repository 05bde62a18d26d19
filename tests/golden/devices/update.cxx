// updatedevicebyhardwareid: a matching present device gets the driver (the
// INF copied to oemNN.inf, its service created and started); no matching
// device gives ERROR_NO_SUCH_DEVINST; an INF that does not name the id gives
// ERROR_NO_MORE_ITEMS.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  show("no device yet", updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev"))
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  show("two devices", updatedevicebyhardwareid("C:\pkg\vdev.inf", "ROOT\VDEV"))
  show("again, same oem name", updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev"))
  show("INF without the id", updatedevicebyhardwareid("C:\pkg\other.inf", "root\vdev"))
  show("missing INF", updatedevicebyhardwareid("C:\pkg\none.inf", "root\vdev"))
  show("restart", checkisneedreboot())
  return checkdevicestatus("root\vdev")
}
