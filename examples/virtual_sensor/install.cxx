// Northwind Virtual Sensor: installation script of a root-enumerated device.
//
//   /install     write the driver package out, create the device node and
//                install the driver on it
//   /uninstall   remove the device, its service, its driver key and its
//                oemNN.inf/.pnf, and the driver binary
//
// main returns 1 when Windows must be restarted, 0 when done and 4 on a
// failure.

define NOT_PRESENT   12
define RESULT_FAILED 4

string szHardwareId = "ROOT\NWVSENSOR"
string szWork = WINDIR_TEMP + "\vsensor"
string szInf = WINDIR_TEMP + "\vsensor\vsensor.inf"

// The INF, its catalogue and the driver go into a work directory: the driver
// installation copies the driver from there into the drivers directory.
num ExtractPackage() {
  num nOk = createdirectory(szWork)
  nOk = nOk & extractresfile("vsensor.inf", szInf)
  nOk = nOk & extractresfile("vsensor.cat", szWork + "\vsensor.cat")
  nOk = nOk & extractresfile("vsensor.sys", szWork + "\vsensor.sys")
  return nOk
}

num Install() {
  if (ExtractPackage() == 0) {
    deletedirectory(szWork)
    return RESULT_FAILED
  }
  // One device node, also when the script runs a second time.
  if (checkdevicestatus(szHardwareId) == NOT_PRESENT) {
    if (installdriverbyhardwareid(szInf, szHardwareId) == 0) {
      deletedirectory(szWork)
      return RESULT_FAILED
    }
  }
  num nResult = updatedevicebyhardwareid(szInf, szHardwareId)
  deletedirectory(szWork)
  if (nResult != 1) {
    return RESULT_FAILED
  }
  return checkisneedreboot()
}

num Uninstall() {
  // The device, its service and driver key, and oemNN.inf with oemNN.pnf.
  deletedriverbyhardwareid(szHardwareId)
  // Windows keeps driver binaries when a device goes; the package's own goes too.
  deletefilex("vsensor.sys", WINDIR_SYSTEM32_DRIVERS)
  return checkisneedreboot()
}

num main() {
  switch (_Parameters[0]) {
    case "install":
      return Install()
    case "uninstall":
      return Uninstall()
  }
  return RESULT_FAILED
}
