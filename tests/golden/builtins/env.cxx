// The environment built-ins on a default machine (Windows XP, locale 0x0409).
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  string e
  num answer = msgbox("Line one\nLine two", "Note", MSG_YESNO)
  show("yes/no answer", answer)
  show("getwinversion", getwinversion())
  show("getlanguage", getlanguage())
  show("checkisneedreboot", checkisneedreboot())
  show("updatedevicelist", updatedevicelist())
  show("second answer", msgbox("ends with \", "Back\slash", MSG_ICONINFORMATION + MSG_YESNO))
  msgbox(e, "", MSG_ICONERROR)
  msgbox("", e, 0)
  show("sleep", sleep(250))
  show("sleep 0", sleep(0))
  show("sleep -1", sleep((-1)))
  show("execute missing", execute("missing.exe /q"))
  show("execute", execute("data\tool.exe /Q /C:patch.inf"))
  show("execute empty", execute(""))
  show("reboot", reboot())
  return checkisneedreboot()
}
