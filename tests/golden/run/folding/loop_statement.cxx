// An operator of two literals written as a statement folds into a literal
// on its first pass; on the second pass the bare literal fails.
num main()
{
  num i = 0
  while (i < 3) {
    2 * 3
    i += 1
  }
  return i
}
