// Folded literal statements in a loop and in a function body.
num f(num n)
{
  5 - 2
  return n
}
num main()
{
  num i = 0
  while (i < 3) {
    "ab" + "cd"
    i += f(1)
    1 + 2 * 3
  }
  return i
}
//80<0