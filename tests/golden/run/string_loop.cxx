// Loops over strings: a switch on a string variable with fall-through,
// break, a default that runs last and a selector changed inside a section;
// string assignments from literals, names and elements, an element out of
// range, a text assigned to itself; comparisons of strings as conditions
// and operands. The leftovers of break
// stay with the frame as always.
string words[6] = {"install", "remove", "", "update", "repair", "install"}

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num run(num n) {
  num i = 0
  num sum = 0
  string w
  string copy
  string none
  while (i < n) {
    w = words[i % 6]
    copy = w
    copy = copy
    switch (w) {
      case "install":
        sum += 1
        w = "remove"
        break
      case "remove":
        sum += 10
      case "update":
        sum += 100
        break
      case "":
        sum += 1000
        break
      default: {
        sum += 10000
      }
      case "unused":
        sum += 100000
    }
    if (copy == words[i % 6]) {
      sum += 1000000
    }
    none = ""
    if (none == words[2]) {
      sum += 1
    }
    i += 1
  }
  return sum
}

num bad(num k) {
  string w = "start"
  num i = 0
  while (i < 3) {
    w = words[k + i]
    msgbox(w, "element", 0)
    i += 1
  }
  return 0
}

num scan() {
  num i = 0
  num hits = 0
  string s = "a,b,,c"
  while (getat(s, i) != "c") {
    if (getat(s, i) == ",") {
      hits += 1
    }
    if ("x" == "x") {
      hits += 10
    }
    hits += (getat(s, i) < "b") * 100
    i += 1
  }
  return hits
}

num main() {
  show("scan", scan())
  show("six", run(6))
  show("twelve", run(12))
  bad(2)
  show("after", 1)
  bad(5)
  return 0
}
