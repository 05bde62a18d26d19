// The keys that the registry redirector of a 32-bit process on 64-bit
// Windows 10 shares between both views: one copy, none below WOW6432Node,
// for Software\Microsoft\Windows\CurrentVersion\Setup and, from Windows 7
// on, for the file types of the class registrations.
string szSetup = "SOFTWARE\Microsoft\Windows\CurrentVersion\Setup\Golden WOW64"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  // A shared key: one copy for both views, none below WOW6432Node.
  addregvalues(HKEY_LOCAL_MACHINE, szSetup, "View", REG_TYPE_SZ, "shared")
  sayn("shared key read", checkregstatus(HKEY_LOCAL_MACHINE, szSetup))
  sayn("shared key below WOW6432Node", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\WOW6432Node\Microsoft\Windows\CurrentVersion\Setup\Golden WOW64"))

  addregvalues(HKEY_CLASSES_ROOT, ".goldenwow64", "Golden", REG_TYPE_SZ, "golden")
  sayn("file type read", checkregstatus(HKEY_CLASSES_ROOT, ".goldenwow64"))
  sayn("file type below Wow6432Node", checkregstatus(HKEY_CLASSES_ROOT, "Wow6432Node\.goldenwow64"))

  deletereg(HKEY_CLASSES_ROOT, ".goldenwow64")
  deletereg(HKEY_LOCAL_MACHINE, szSetup)
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, szSetup))
  return 0
}
