// Built-ins and string comparisons inside loops, where the machine calls the
// built-in itself and compares texts where they lie: arguments from names,
// literals, elements and other built-ins; empty results; the line of a
// built-in that answers 0; the order of calls and messages; an element out
// of range in an argument; and a script function among the arguments that
// changes the text another argument names (the first parameter picks the
// run that fails).
string words[4] = {"alpha", "be", "", "epsilon zeta eta"}
string g = "global text"
num calls = 0

num bump() {
  g = "changed by bump"
  calls += 1
  return 2
}

string mark(string label) {
  calls += 1
  msgbox(label, "mark", 0)
  return label
}

num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num main() {
  num pick = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  num empties = 0
  num commas = 0
  string list = "USB\VID_0BDA&PID_8150&REV_3000,ACPI\PNP0501,,PCI\VEN_8086"
  string id
  string none
  while (i < 8) {
    // Elements, nested built-ins and an element of an empty string.
    total = total + getlen(words[i % 4]) * 10 + getlen(numtostring(i * 1000))
    if (getstr(words[i % 4], 0, 0) == "") {
      empties += 1
    }
    if (getat(words[i % 4], 1) != "") {
      total += 1
    }
    // Comparisons of every kind, with and without text.
    if (words[i % 4] < "beta") {
      total += 100
    }
    if (getat(list, i) >= "A") {
      total += 1000
    }
    if (none == getstr(list, 5, 2)) {
      empties += 10
    }
    if (numtostring(i) <= getat("0123", i)) {
      total += 10000
    }
    i += 1
  }
  show("total", total)
  show("empties", empties)

  // Splitting a list: the machine compares and cuts; getat answers 0 past
  // the end, which prints its line.
  i = 0
  num start = 0
  while (i <= getlen(list)) {
    if (getat(list, i) == "," || i == getlen(list)) {
      id = getstr(list, start, i - 1)
      show(id, getlen(id))
      commas += 1
      start = i + 1
    }
    i += 1
  }
  show("pieces", commas)
  show("past the end", getlen(getat(list, 100)))

  // Messages in the order the calls are made.
  i = 0
  while (i < 2) {
    if (getlen(mark("first")) + getlen(mark("second")) > stringtonum(numtostring(i))) {
      total += 1
    }
    // A built-in's result as an argument comes before the calls in the
    // arguments after it.
    if (numtostring(i) <= getat(getat("0", i + 1), stringtonum("x"))) {
      total += 1
    }
    i += 1
  }
  show("calls", calls)

  // A script function among the arguments: the text of g is the one at its turn.
  i = 0
  while (i < 2) {
    total = getlen(getstr(g, bump(), 3))
    show(g, total)
    g = "global text"
    i += 1
  }

  // An element out of range in a built-in's argument inside a loop.
  if (pick == 1) {
    i = 0
    while (i < 6) {
      total += getlen(words[i])
      i += 1
    }
  }
  // The same in a comparison.
  if (pick == 2) {
    i = 3
    while (i < 6) {
      if (words[i] == "epsilon zeta eta") {
        total += 1
      }
      i += 1
    }
  }
  show("end", total)
  return total
}
