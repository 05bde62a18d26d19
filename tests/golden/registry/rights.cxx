// Keys whose security descriptor restricts access. addsubreg retries a denied
// creation after opening the parent's tree to everyone; deleteregx with
// SECU_FULL does the same before deleting; a key that even refuses enumeration
// stays, and deleteregbyfindstr passes over it instead of looping.
define PRESENT 2

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  // Read only: the creation is denied, the rights are opened, the retry works.
  sayn("addsubreg read-only", addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Locked", "Sub"))
  sayn("created", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Locked\Sub"))
  sayn("now writable", addregvalued(HKEY_LOCAL_MACHINE, "SOFTWARE\Locked", "N", REG_TYPE_DWORD, 1))
  // No access at all: the parent cannot even be enumerated.
  sayn("addsubreg denied", addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Sealed", "Sub"))
  sayn("exists", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Sealed"))
  sayn("addregvalues denied", addregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\Sealed", "S", REG_TYPE_SZ, "x"))
  say("getregvalues denied: [" + getregvalues(HKEY_LOCAL_MACHINE, "SOFTWARE\Sealed", "S") + "]")
  say("enumsubreg denied: [" + enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Sealed", 0) + "]")
  sayn("deleteregx denied", deleteregx(HKEY_LOCAL_MACHINE, "SOFTWARE\Sealed", SECU_FULL))
  sayn("still there", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Sealed"))
  // A read-only tree resists deletereg and deleteregx without SECU_FULL.
  sayn("deletereg read-only", deletereg(HKEY_LOCAL_MACHINE, "SOFTWARE\Frozen"))
  sayn("still there", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Frozen\Child"))
  deleteregx(HKEY_LOCAL_MACHINE, "SOFTWARE\Frozen", SECU_DEFAULT)
  sayn("still there", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Frozen\Child"))
  sayn("deleteregx full", deleteregx(HKEY_LOCAL_MACHINE, "SOFTWARE\Frozen", SECU_FULL))
  sayn("gone", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Frozen"))
  // A denied child: its parent is opened, the child is reported and both stay.
  addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Mixed", "Open")
  sayn("deleteregx mixed", deleteregx(HKEY_LOCAL_MACHINE, "SOFTWARE\Mixed", SECU_FULL))
  sayn("open child gone", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Mixed\Open"))
  sayn("denied child kept", checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Mixed\Sealed"))
  // A match that cannot be deleted is passed over; the others go.
  addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Pick", "Keep Me Too")
  addsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Pick", "Keeper")
  sayn("deleteregbyfindstr", deleteregbyfindstr(HKEY_LOCAL_MACHINE, "SOFTWARE\Pick", "Keep"))
  say("left: " + enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Pick", 0) + "|" +
      enumsubreg(HKEY_LOCAL_MACHINE, "SOFTWARE\Pick", 1))
  return checkregstatus(HKEY_LOCAL_MACHINE, "SOFTWARE\Locked\Sub")
}
