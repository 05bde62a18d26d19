// With --fast-sleep a long sleep is only logged.
num main() {
  return sleep(600000) + sleep(0)
}
