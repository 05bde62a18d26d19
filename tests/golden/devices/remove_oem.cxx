// Removing a device installed from an OEM INF takes every trace with it: the
// device node, its driver key, its service and oemNN.inf with oemNN.pnf.
num main() {
  installdriverbyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  updatedevicebyhardwareid("C:\pkg\vdev.inf", "root\vdev")
  num removed = deletedriverbyhardwareid("Root\VDev")
  num again = deletedriverbyhardwareid("root\vdev")
  return removed * 100 + again * 10 + checkdevicestatus("root\vdev")
}
