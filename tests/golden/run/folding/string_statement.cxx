// A string `+` of two literals folds into a string literal. A bare string
// literal reports and goes on, so every later pass prints the message, and
// the empty fold prints an empty text.
num main()
{
  num i = 0
  while (i < 3) {
    "ab" + "cd"
    "" + ""
    i += 1
  }
  return i
}
