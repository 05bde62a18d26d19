// A box passes over answers it has no button for: "no" is not spent on the
// OK box but kept for the Yes/No question; "retry" suits only the retry box.
num main() {
  num a = msgbox("Files copied.", "Setup", MSG_ICONINFORMATION)
  num b = msgbox("Install the driver?", "Setup", MSG_YESNO)
  num c = msgbox("Device busy.", "Setup", 5)
  return a * 100 + b * 10 + c
}
