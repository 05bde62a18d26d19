// Answers no box took are reported after the run.
num main() {
  return msgbox("Go on?", "Setup", MSG_YESNO)
}
