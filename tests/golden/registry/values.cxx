// addregvalues, addregvalued, getregvalues and getregvalued: round trips,
// missing keys and values, wrong types, refused type codes, and values at the
// 255-byte limit of the read buffer.
string szKey = "SOFTWARE\Golden Values"

num say(string text) {
  enumsubreg(HKEY_USERS, "=> " + text, 0)
  return 0
}
num sayn(string label, num value) {
  return say(label + " = " + numtostring(value))
}
string pad(num n) {
  string s = "v"
  while (getlen(s) < n) {
    s = s + "v"
  }
  return s
}

num main() {
  // The key is created on the way.
  sayn("addregvalued", addregvalued(HKEY_LOCAL_MACHINE, szKey + "\Sub", "Count", REG_TYPE_DWORD, 3))
  sayn("getregvalued", getregvalued(HKEY_LOCAL_MACHINE, szKey + "\Sub", "Count"))
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Negative", REG_TYPE_DWORD, (-5))
  sayn("negative", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Negative"))
  addregvalued(HKEY_LOCAL_MACHINE, szKey, "Hex", REG_TYPE_DWORD, 0x7FFFFFFF + 1)
  sayn("lowest", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Hex"))
  // A missing counter reads as 0 with only the result line.
  sayn("missing value", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Installs"))
  sayn("missing key", getregvalued(HKEY_LOCAL_MACHINE, szKey + "\None", "Count"))
  sayn("addregvalues", addregvalues(HKEY_LOCAL_MACHINE, szKey, "Name", REG_TYPE_SZ, "Acme Reader"))
  say("getregvalues: " + getregvalues(HKEY_LOCAL_MACHINE, szKey, "Name"))
  sayn("text as number", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Name"))
  say("number as text: [" + getregvalues(HKEY_LOCAL_MACHINE, szKey, "Negative") + "]")
  say("missing value: [" + getregvalues(HKEY_LOCAL_MACHINE, szKey, "Nothing") + "]")
  say("missing key: [" + getregvalues(HKEY_LOCAL_MACHINE, szKey + "\None", "Name") + "]")
  // Value names are compared without regard to case; a write replaces type and data.
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "NEGATIVE", REG_TYPE_SZ, "minus five")
  say("replaced: " + getregvalues(HKEY_LOCAL_MACHINE, szKey, "negative"))
  // Only text with REG_TYPE_SZ and numbers with REG_TYPE_DWORD are written.
  sayn("text as dword", addregvalues(HKEY_LOCAL_MACHINE, szKey, "Bad1", REG_TYPE_DWORD, "12"))
  sayn("number as sz", addregvalued(HKEY_LOCAL_MACHINE, szKey, "Bad2", REG_TYPE_SZ, 12))
  sayn("type 7", addregvalued(HKEY_LOCAL_MACHINE, szKey, "Bad3", 7, 1))
  sayn("nothing written", getregvalued(HKEY_LOCAL_MACHINE, szKey, "Bad2"))
  sayn("empty text", addregvalues(HKEY_LOCAL_MACHINE, szKey, "Empty", REG_TYPE_SZ, ""))
  // 254 characters and the NUL fill the 255-byte buffer; one more does not fit.
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Long", REG_TYPE_SZ, pad(254))
  sayn("254 read", getlen(getregvalues(HKEY_LOCAL_MACHINE, szKey, "Long")))
  addregvalues(HKEY_LOCAL_MACHINE, szKey, "Longer", REG_TYPE_SZ, pad(255))
  sayn("255 read", getlen(getregvalues(HKEY_LOCAL_MACHINE, szKey, "Longer")))
  sayn("no such root", addregvalued(0x7FFFFFF0, szKey, "Count", REG_TYPE_DWORD, 1))
  deletereg(HKEY_LOCAL_MACHINE, szKey)
  return getregvalued(HKEY_LOCAL_MACHINE, szKey + "\Sub", "Count")
}
