// A switch on a string selector, as a script's main switches on its command:
// one of five commands on every pass, one falling through to the next; the
// first parameter is the number of passes.
string commands[5] = {"install", "remove", "update", "repair", "query"}

num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num sum = 0
  string command
  while (i < n) {
    command = commands[i % 5]
    switch (command) {
      case "install":
        sum += 3
        break
      case "remove":
        sum += 5
      case "update":
        sum += 7
        break
      case "repair":
        sum -= 2
        break
      default: {
        sum += 1
      }
    }
    i += 1
  }
  return sum % 1000003
}
