// Built-in calls: the length of one of four strings on every pass; the
// first parameter is the number of calls.
string words[4] = {"alpha", "be", "gamma delta", "epsilon zeta eta"}

num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  while (i < n) {
    total = (total + getlen(words[i % 4])) % 1000003
    i += 1
  }
  return total
}
