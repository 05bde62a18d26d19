// Run-time failures: each command makes main fail in its own way; the run
// ends without the banner and Action answers -1. "/strstmt" shows the one
// report that does not stop the run.
num declaredOnly(num n);

num empty() {
}

num takesNum(num n) {
  return n
}

num wrongType() {
  return "text"
}

num main() {
  num n = 5
  num zero = 0
  num a[3]
  string s = "s"
  string b = "b"
  switch (_Parameters[0]) {
    case "mod0":
      n = n % zero
    case "div0":
      n = n / zero
    case "diveq0":
      n /= zero
    case "modeq0":
      n %= zero
    case "over":
      n = a[3]
    case "negative":
      n = a[(-1)]
    case "strindex":
      n = a["x"]
    case "cond":
      if (s += "x") {
        n = 1
      }
    case "while":
      while (s += "x") {
        n = 1
      }
    case "arg":
      n = takesNum(s += "x")
    case "builtinarg":
      n = getlen(getat(s, s += "x"))
    case "op":
      n = (s += "x") + 1
    case "return":
      n = wrongType()
    case "undefined":
      n = declaredOnly(1)
    case "empty":
      n = empty()
    case "and":
      n = s && b
    case "or":
      n = s || b
    case "bitand":
      n = s & b
    case "bitor":
      n = s | b
    case "idstmt":
      n
    case "numstmt":
      5
    case "strstmt":
      "loose"
      return 3
    case "mscall":
      _mscall { 1 }
    case "pluseq":
      n += (s += "x")
    case "minuseq":
      n -= (s += "x")
    case "muleq":
      n *= (s += "x")
    case "diveq":
      n /= (s += "x")
    case "modeq":
      n %= (s += "x")
    case "arrayname":
      a += 1
    case "assign":
      n = (s += "x")
    case "init":
      num k = (s += "x")
    case "arraystmt":
      a[1]
  }
  return 0
}
