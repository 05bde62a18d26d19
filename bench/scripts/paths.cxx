// Script functions with string parameters and results: registry paths built
// with + and tested for a prefix with getstr; the first parameter is the
// number of paths.
string roots[3] = {"SYSTEM\CurrentControlSet\Services", "SOFTWARE\Vendor\Driver", "SYSTEM\CurrentControlSet\Enum"}
string leaves[4] = {"usbser", "Parameters", "Uninstall", "USB"}

string join(string root, string leaf) {
  return root + "\" + leaf
}

num under(string path, string prefix) {
  num size = getlen(prefix)
  if (getlen(path) < size) {
    return 0
  }
  if (getstr(path, 0, size - 1) == prefix) {
    return 1
  }
  return 0
}

num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  string path
  while (i < n) {
    path = join(roots[i % 3], leaves[i % 4])
    if (under(path, "SYSTEM\CurrentControlSet") == 1) {
      total += 5
    }
    total = (total + getlen(path)) % 1000003
    i += 1
  }
  return total
}
