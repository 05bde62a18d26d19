// One device operation per command, so that each result shows as
// "Action returned N". The INF path comes in as the @INF@ placeholder.
num main() {
  string s = _Parameters[0]
  string inf = "@INF@"
  if (s == "install") {
    return installdriverbyhardwareid(inf, "root\vdev")
  }
  if (s == "status") {
    return checkdevicestatus("ROOT\VDEV")
  }
  if (s == "statusunknown") {
    return checkdevicestatus("root\nothing")
  }
  if (s == "updatenothing") {
    return updatedevicebyhardwareid(inf, "root\nothing")
  }
  if (s == "update") {
    return updatedevicebyhardwareid(inf, "root\vdev")
  }
  if (s == "reboot") {
    return checkisneedreboot()
  }
  if (s == "disableunknown") {
    return disabledriverbyhardwareid("root\nothing")
  }
  if (s == "enableunknown") {
    return enabledriverbyhardwareid("root\nothing")
  }
  if (s == "delete") {
    return deletedriverbyhardwareid("root\vdev")
  }
  if (s == "deleteservice") {
    return deleteservice("vdev")
  }
  return 99
}
