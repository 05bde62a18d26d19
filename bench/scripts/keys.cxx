// Registry keys built by string functions: a string local joined and
// returned, a result joined with more texts, a declaration initialized from a
// call, and a prefix test with getstr; the first parameter is the number of
// keys.
string services = "SYSTEM\CurrentControlSet\Services"
string names[4] = {"usbser", "serenum", "UsbDriver", "vcp"}
string values[3] = {"ImagePath", "Start", "DisplayName"}

string serviceKey(string name) {
  string key = services + "\" + name
  return key
}

string valuePath(string key, string value) {
  return key + "\Parameters\" + value
}

num main() {
  num n = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  string last
  while (i < n) {
    string key = serviceKey(names[i % 4])
    last = valuePath(key, values[i % 3]) + ";"
    if (getstr(last, 0, 5) == "SYSTEM") {
      total += 1
    }
    total = (total + getlen(last)) % 1000003
    i += 1
  }
  return total
}
