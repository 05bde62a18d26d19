// An answer aimed at a caption is taken by that caption's box only, wherever
// it stands in the queue; plain answers go to the other boxes in order.
num main() {
  num a = msgbox("Continue?", "Driver", MSG_YESNO)
  num b = msgbox("Restart now?", "Setup", MSG_YESNO)
  num c = msgbox("Keep logs?", "Driver", MSG_YESNO)
  return a * 100 + b * 10 + c
}
