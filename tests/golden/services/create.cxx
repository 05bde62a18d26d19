// createservice makes an on-demand kernel driver service whose configuration
// is its registry key, and starts it; a second creation of the name fails;
// startservice of a running service and stopservice of a stopped or unknown
// one report what the service control manager answers.
string szKey = "SYSTEM\CurrentControlSet\Services\goldsvc"
string szImage = WINDIR_SYSTEM32_DRIVERS + "\goldsvc.sys"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}

num main() {
  extractresfile("goldsvc.sys", szImage)
  sayn("createservice", createservice("goldsvc", 3, szImage))
  sayn("Type", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Type"))
  sayn("Start", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Start"))
  sayn("ErrorControl", getregvalued(HKEY_LOCAL_MACHINE, szKey, "ErrorControl"))
  say("ImagePath: " + getregvalues(HKEY_LOCAL_MACHINE, szKey, "ImagePath"))
  say("DisplayName: " + getregvalues(HKEY_LOCAL_MACHINE, szKey, "DisplayName"))
  sayn("again", createservice("goldsvc", 3, szImage))
  sayn("other case", createservice("GOLDSVC", 3, szImage))
  sayn("start running", startservice("goldsvc"))
  sayn("restart flag", checkisneedreboot())
  sayn("stop", stopservice("goldsvc"))
  sayn("stop stopped", stopservice("goldsvc"))
  sayn("start again", startservice("GoldSvc"))
  sayn("stop unknown", stopservice("nosuchsvc"))
  sayn("start unknown", startservice("nosuchsvc"))
  sayn("empty name", startservice(""))
  stopservice("goldsvc")
  return deletereg(HKEY_LOCAL_MACHINE, szKey)
}
