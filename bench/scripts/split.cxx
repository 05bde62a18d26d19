// Splitting a comma-separated list of hardware IDs, as a driver installer
// does: every character looked at, every ID cut out, its revision read as a
// number and written back as text. The first parameter is the number of
// rounds over the list.
num main() {
  num n = stringtonum(_Parameters[0])
  string list = ""
  num k = 0
  while (k < 8) {
    list = list + "USB\VID_0BDA&PID_81" + numtostring(50 + k) + "&REV_" + numtostring(3000 + k * 7) + ","
    k += 1
  }
  num len = getlen(list)
  num round = 0
  num total = 0
  while (round < n) {
    num start = 0
    num j = 0
    while (j < len) {
      if (getat(list, j) == ",") {
        string id = getstr(list, start, j - 1)
        num size = getlen(id)
        num rev = stringtonum(getstr(id, size - 4, size - 1))
        total = (total + getlen(numtostring(rev + round)) + rev) % 1000003
        start = j + 1
      }
      j += 1
    }
    round += 1
  }
  return total
}
