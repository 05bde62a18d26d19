// Every device built-in refuses a missing text argument.
num main() {
  string none
  installdriverbyhardwareid(none, "root\vdev")
  installusbdriver("C:\pkg\vdev.inf", "")
  updatedevicebyhardwareid("", "root\vdev")
  checkdevicestatus("")
  disabledriverbyhardwareid(none)
  enabledriverbyhardwareid("")
  deletedriverbyhardwareid("")
  deleteservice("")
  return updatedevicelist()
}
