// String functions that return a text joined by + run in frames of cells and
// move their result into the variable assigned: parameters, literals and
// globals joined (long, short, empty, never assigned), a result stored and
// then its source changed, += on a stored result, a function that ends
// without a return, returns under a test, a result fed back as an argument,
// a join that the walk keeps (two literals first), a result with texts
// joined after it, a declaration's initializer, a string local joined and
// returned, a parameter assigned (the caller's variable stays), a parameter
// returned; and the ways out: an element out of range among the arguments,
// a callee that fails (the first parameter picks the run that fails).
string roots[3] = {"SYSTEM\CurrentControlSet\Services", "SOFTWARE\Vendor\Driver", ""}
string leaves[4] = {"usbser", "Parameters", "", "USB"}
string g = "a global text longer than fifteen bytes"
string never

string join(string root, string leaf) {
  return root + "\" + leaf
}

string around(string s) {
  return g + s + never + g
}

string pick3(string a, string b, num k) {
  if (k % 3 == 1) {
    return b + a
  }
  if (getlen(a) > k) {
    return a + ""
  }
  return "" + b
}

string nothing(string a) {
  if (getlen(a) > 100) {
    return a + a
  }
}

string folded(string a) {
  return "x" + "y" + a
}

string keyOf(string name) {
  string key = "SYSTEM\CurrentControlSet\Services\" + name
  key = key + "\" + never
  return key
}

string bang(string a) {
  a = a + "!"
  return a
}

string first(string a, string b) {
  return a
}

string broken(string a, num k) {
  return a + roots[k]
}

num main() {
  num pick = stringtonum(_Parameters[0])
  num i = 0
  num total = 0
  string path
  string last
  string empty
  string copy
  while (i < 8) {
    path = join(roots[i % 3], leaves[i % 4])
    copy = path
    last = pick3(path, leaves[i % 4], i)
    empty = nothing(path)
    total = total + getlen(path) * 100 + getlen(last) + (empty == "") * 10000
    if (last == "") {
      total += 1000000
    }
    path = join(path, path)
    total = total + getlen(path) - getlen(copy) * 2
    i += 1
  }
  msgbox(numtostring(total), "total", 0)
  msgbox(copy, "copy", 0)
  msgbox(last, "last", 0)
  i = 0
  while (i < 3) {
    last = around(last)
    last += "+"
    path = folded(last)
    i += 1
  }
  msgbox(last, "around", 0)
  msgbox(path, "folded", 0)
  g = "changed"
  msgbox(last, "kept", 0)
  i = 0
  while (i < 3) {
    path = join(never, "")
    empty = join("", never)
    i += 1
  }
  msgbox(path, "empty joins", 0)
  i = 0
  while (i < 3) {
    string d = join(leaves[i], g) + "\" + never + "" + copy
    path = pick3(d, "", i) + never + "!"
    empty = nothing(d) + ""
    string none = nothing(d)
    i += 1
  }
  msgbox(d, "declared", 0)
  msgbox(path, "joined after", 0)
  msgbox(numtostring((empty == "") + (none == "") * 10 + getlen(empty) * 100), "empty after", 0)
  msgbox(numtostring(getlen(path) + getlen(empty) * 10 + (path == "") * 100 + (empty == "\") * 1000), "empty sizes", 0)
  i = 0
  while (i < 3) {
    path = keyOf(leaves[i])
    copy = bang(last)
    empty = first(never, path)
    string joined = path + "|" + copy
    i += 1
  }
  msgbox(path, "local", 0)
  msgbox(last, "unchanged", 0)
  msgbox(copy, "bang", 0)
  msgbox(joined, "joined", 0)
  msgbox(numtostring(getlen(empty) + (empty == "") * 10), "first", 0)
  if (pick == 1) {
    i = 0
    while (i < 5) {
      path = join(roots[i], "x")
      i += 1
    }
  }
  if (pick == 2) {
    i = 0
    while (i < 5) {
      path = broken("a", i)
      i += 1
    }
  }
  msgbox(path, "end", 0)
  return total % 1000
}
