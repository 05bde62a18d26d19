// Comparisons of two literals fold too, num and string alike: the second
// pass meets a bare num literal and fails.
num main()
{
  num i = 0
  while (i < 3) {
    msgbox(numtostring(i), "pass", 0)
    "b" > "a"
    i += 1
  }
  return i
}
