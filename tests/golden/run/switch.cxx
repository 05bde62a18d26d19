// switch: fall-through until break or return, the default taken when no case
// matched wherever it stands, string labels, break leaving only the switch.
num show(string label, num v) {
  msgbox(numtostring(v), label, 0)
  return 0
}

num noisy() {
  show("selector evaluated", 1)
  return 1
}

num fall(num n) {
  switch (n) {
    case 1:
      show("case 1", n)
    case 2:
      show("case 2", n)
    default: {
      show("default", n)
    }
  }
  return 0
}

num defaultFirst(num n) {
  switch (n) {
    default: {
      show("first default", n)
    }
    case 1:
      show("case 1 after default", n)
      break
    case 2:
      show("case 2 after default", n)
  }
  return 0
}

num word(string s) {
  switch (s) {
    case "":
      return 0
    case "a":
      return 1
    case "A":
      return 2
  }
  return 3
}

num main() {
  num i = 0
  string e
  fall(1)
  fall(2)
  fall(5)
  defaultFirst(1)
  defaultFirst(2)
  defaultFirst(7)
  show("word empty", word(e))
  show("word a", word("a"))
  show("word A", word("A"))
  show("word other", word("b"))
  switch (noisy()) {
  }
  while (i < 3) {
    switch (i) {
      case 1: {
        break
      }
    }
    i += 1
  }
  show("loop went on", i)
  return 0
}
