// A literal statement in a function body: the first call folds it, the
// second call fails on the bare literal, and main fails with it.
num f(num n)
{
  5 - 2
  return n
}

num main()
{
  num a = f(2)
  num b = f(5)
  return a + b
}
