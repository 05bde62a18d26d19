// Queued answers are taken in order; a box without one presses its default.
num main() {
  num a = msgbox("First question?", "Answers", MSG_YESNO)
  num b = msgbox("Second\nquestion?", "Answers", MSG_YESNO)
  num c = msgbox("Third question?", "Answers", MSG_YESNO)
  num d = msgbox("Notice", "Answers", MSG_ICONINFORMATION)
  return a * 1000 + b * 100 + c * 10 + d
}
