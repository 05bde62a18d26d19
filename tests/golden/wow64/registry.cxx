// The registry redirector of a 32-bit process on 64-bit Windows 10:
// HKLM\SOFTWARE is HKLM\SOFTWARE\WOW6432Node but for the shared keys, the
// enumeration of HKLM\SOFTWARE shows no WOW6432Node, and of the class
// registrations CLSID is kept apart while file types are shared.
string szKey = "SOFTWARE\Golden WOW64"
string szSetup = "SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\Golden WOW64"
string szClsid = "CLSID\{6A7D0C1E-5E7A-4C0F-8F3B-2D1C0B0AB164}"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "View", REG_TYPE_SZ, "32-bit")
  say("read back: " + getregvalues(HKEY_LOCAL_MACHINE, szKey, "View"))
  say("through WOW6432Node: " + getregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\WOW6432Node\Golden WOW64", "View"))
  say("ProgramFilesDir: " + getregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\Microsoft\Windows\CurrentVersion", "ProgramFilesDir"))

  // Enumerating HKLM\SOFTWARE: the key written is there, WOW6432Node is not.
  num nWow = 0
  num nGolden = 0
  num i = 0
  string szName = enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", 0)
  while (szName != "") {
    if (szName == "WOW6432Node" || szName == "Wow6432Node") {
      nWow += 1
    }
    if (szName == "Golden WOW64") {
      nGolden += 1
    }
    i += 1
    szName = enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE", i)
  }
  sayn("WOW6432Node listed", nWow)
  sayn("Golden WOW64 listed", nGolden)

  // A shared key: one copy for both views, none below WOW6432Node.
  addregvalues(HKEY_LOCAL_MACHINE, szSetup, "View", REG_TYPE_SZ, "shared")
  sayn("shared key read", checkregstatus(HKEY_LOCAL_MACHINE, szSetup))
  sayn("shared key below WOW6432Node", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\WOW6432Node\Microsoft\Windows\CurrentVersion\Setup\Golden WOW64"))

  // Class registrations: CLSID redirected, file types shared (Windows 7 on).
  addregvalues(HKEY_CLASSES_ROOT, szClsid, "Golden", REG_TYPE_SZ, "golden")
  sayn("CLSID below Wow6432Node", checkregstatus(HKEY_CLASSES_ROOT, "Wow6432Node\" + szClsid))
  addregvalues(HKEY_CLASSES_ROOT, ".goldenwow64", "Golden", REG_TYPE_SZ, "golden")
  sayn("file type below Wow6432Node", checkregstatus(HKEY_CLASSES_ROOT, "Wow6432Node\.goldenwow64"))

  deletereg(HKEY_CLASSES_ROOT, szClsid)
  deletereg(HKEY_CLASSES_ROOT, ".goldenwow64")
  deletereg(HKEY_LOCAL_MACHINE, szSetup)
  deletereg(HKEY_LOCAL_MACHINE, szKey)
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, szKey))
  return 0
}
