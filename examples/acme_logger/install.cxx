// ACME DataLogger USB: driver installation script.
//
//   /install     copy the driver files, register the product, install the driver
//                and the buffer monitor (a kernel service of its own)
//   /uninstall   remove the devices, the monitor, the driver files and the product key
//   /silent      ask no questions (together with either of the above)
//
// main returns 1 when Windows must be restarted, 0 when done, 2 when the user
// cancelled, 3 when this Windows is not supported and 4 on a failure.

define KEY_PRESENT   2
define ANSWER_YES    6
define RESULT_CANCEL 2
define RESULT_OLDOS  3
define RESULT_FAILED 4
define START_DEMAND  3

// Texts with backslashes live in variables: in a macro body a backslash
// continues the line.
string szProduct = "ACME DataLogger USB"
string szVersion = "2.4.1"
string szHardwareId = "USB\VID_0AC3&PID_1207"
string szRootId = "ROOT\ACMELOG"
string szVendorKey = "SOFTWARE\ACME"
string szProductKey = szVendorKey + "\DataLogger"
string szWork = WINDIR_TEMP + "\acmelog"
string szMonitor = "AcmeLogMon"
string szMonitorImage = WINDIR_SYSTEM32_DRIVERS + "\acmemon.sys"
string szNtVersionKey = "SOFTWARE\Microsoft\Windows NT\CurrentVersion"
num bSilent = 0

num HasParameter(string szName);
num Confirm(string szText);
num ExtractAll();
num Install();
num Uninstall();

// 1 when the command line holds /szName.
num HasParameter(string szName) {
  num i = 0
  while (i < _Parameters_Num) {
    if (_Parameters[i] == szName) {
      return 1
    }
    i += 1
  }
  return 0
}

// Asks a yes/no question unless /silent was given.
num Confirm(string szText) {
  if (bSilent == 1) {
    return 1
  }
  if (msgbox(szText, szProduct, MSG_YESNO + MSG_ICONINFORMATION) == ANSWER_YES) {
    return 1
  }
  return 0
}

// "2.4.1" -> 241: the version as one number, for the registry.
num VersionNumber(string szText) {
  num nValue = 0
  num i = 0
  string c = ""
  while (i < getlen(szText)) {
    c = getat(szText, i)
    if (c != ".") {
      nValue = nValue * 10 + stringtonum(c)
    }
    i += 1
  }
  return nValue
}

// Writes the driver files out of the package: the INF, catalogue and driver
// binary into a work directory (the driver installation copies the binary from
// beside the INF), and the monitor straight into the drivers directory.
num ExtractAll() {
  num nOk = createdirectory(szWork)
  nOk = nOk & extractresfile("acmelog.inf", szWork + "\acmelog.inf")
  nOk = nOk & extractresfile("acmelog.cat", szWork + "\acmelog.cat")
  nOk = nOk & extractresfile("acmelog.sys", szWork + "\acmelog.sys")
  nOk = nOk & extractresfile("acmemon.sys", szMonitorImage)
  return nOk
}

num Install() {
  num nOs = getwinversion()
  // 0 is also Windows 10 and later, which keep their version in the registry.
  if (nOs == 0) {
    if (getregvalued(HKEY_LOCAL_MACHINE, szNtVersionKey, "CurrentMajorVersionNumber") >= 10) {
      nOs = OS_VISTA
    }
  }
  if (nOs < OS_WIN2K) {
    if (bSilent == 0) {
      msgbox(szProduct + " needs Windows 2000 or later.", szProduct, MSG_ICONERROR)
    }
    return RESULT_OLDOS
  }
  string szQuestion = "Install the " + szProduct + " driver " + szVersion + "?"
  if (getlanguage() == 1) {
    szQuestion = szProduct + " " + szVersion + ": install the driver now?"
  }
  if (checkregstatus(HKEY_LOCAL_MACHINE, szProductKey) == KEY_PRESENT) {
    szQuestion = szProduct + " is already installed.\nInstall version " + szVersion + " over it?"
  }
  if (Confirm(szQuestion) == 0) {
    return RESULT_CANCEL
  }

  if (ExtractAll() == 0) {
    return RESULT_FAILED
  }
  // A root-enumerated node lets the driver load before the logger is plugged in;
  // the update then installs the driver on it and on every attached logger.
  installdriverbyhardwareid(szWork + "\acmelog.inf", szRootId)
  updatedevicebyhardwareid(szWork + "\acmelog.inf", szRootId)
  updatedevicebyhardwareid(szWork + "\acmelog.inf", szHardwareId)

  addregvalues(HKEY_LOCAL_MACHINE, szProductKey, "Version", REG_TYPE_SZ, szVersion)
  addregvalued(HKEY_LOCAL_MACHINE, szProductKey, "Build", REG_TYPE_DWORD, VersionNumber(szVersion))
  addregvalues(HKEY_LOCAL_MACHINE, szProductKey, "InstallDir", REG_TYPE_SZ, szWork)
  // A missing counter reads as 0.
  num nInstalls = getregvalued(HKEY_LOCAL_MACHINE, szProductKey, "Installs")
  addregvalued(HKEY_LOCAL_MACHINE, szProductKey, "Installs", REG_TYPE_DWORD, nInstalls + 1)

  // The monitor: created and started on the first installation, started again
  // (a new image takes effect at the next restart) over an earlier one.
  if (checkregstatus(HKEY_LOCAL_MACHINE, "SYSTEM\CurrentControlSet\Services\" + szMonitor) == KEY_PRESENT) {
    startservice(szMonitor)
  } else {
    if (createservice(szMonitor, START_DEMAND, szMonitorImage) == 0) {
      return RESULT_FAILED
    }
  }

  deletedirectory(szWork)
  return checkisneedreboot()
}

num Uninstall() {
  if (Confirm("Remove " + szProduct + " from this computer?") == 0) {
    return RESULT_CANCEL
  }
  deletedriverbyhardwareid(szHardwareId)
  deletedriverbyhardwareid(szRootId)
  stopservice(szMonitor)
  deleteservice(szMonitor)
  deletefilex("acmemon.sys", WINDIR_SYSTEM32_DRIVERS)
  deletefilex("acmelog.sys", WINDIR_SYSTEM32_DRIVERS)
  deletereg(HKEY_LOCAL_MACHINE, szProductKey)
  // The vendor key goes with its last product.
  if (enumsubreg(HKEY_LOCAL_MACHINE, szVendorKey, 0) == "") {
    deletereg(HKEY_LOCAL_MACHINE, szVendorKey)
  }
  return checkisneedreboot()
}

num main() {
  bSilent = HasParameter("silent")
  num nResult = 0
  switch (_Parameters[0]) {
    case "install":
      nResult = Install()
      break
    case "uninstall":
      nResult = Uninstall()
      break
    default: {
      msgbox("Usage: /install or /uninstall, optionally with /silent.", szProduct, MSG_ICONINFORMATION)
      nResult = RESULT_FAILED
    }
  }
  if (nResult == 1) {
    if (Confirm("Windows must be restarted to finish. Restart now?") == 1) {
      if (bSilent == 0) {
        reboot()
      }
    }
  }
  return nResult
}
