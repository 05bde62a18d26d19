// --trace: calls of string functions that the loop machine makes directly
// trace their results as the tree walk's calls do: joined texts, a result
// with texts after it, an empty result of a body that just ends.
string roots[2] = {"SYSTEM\CurrentControlSet\Services", ""}
string never

string join(string root, string leaf) {
  return root + "\" + leaf
}

string nothing(string a) {
  if (getlen(a) > 100) {
    return a + a
  }
}

num main() {
  num i = 0
  string path
  while (i < 3) {
    path = join(roots[i % 2], "usbser") + never
    string empty = nothing(path)
    i += 1
  }
  return getlen(path)
}
