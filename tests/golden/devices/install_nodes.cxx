// installdriverbyhardwareid makes one root-enumerated node per call, of the
// INF's class; checkdevicestatus finds them whatever the letter case.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  show("first", installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev"))
  show("second", installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev"))
  show("third", installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev"))
  show("ROOT\VDEV", checkdevicestatus("ROOT\VDEV"))
  show("Root\VDev", checkdevicestatus("Root\VDev"))
  show("root\vdev2", checkdevicestatus("root\vdev2"))
  show("root", checkdevicestatus("root"))
  show("missing INF", installdriverbyhardwareid("C:\pkg\none.inf", "root\vdev"))
  show("damaged INF", installdriverbyhardwareid("C:\pkg\broken.inf", "root\vdev"))
  show("empty id", installdriverbyhardwareid("C:\pkg\vdev.inf", ""))
  show("no driver yet", checkisneedreboot())
  return 0
}
