num a, b = 2, c
string s = "x", t
num m[2][3] = {1, 2, 3, 4, 5, 6}
string names[3] = {"a", "b",}
num Check(num nValue, string szKey);
num Check(num nValue, string szKey) { num local = nValue return local }
num main() { num a = 1 return Check(a, s) }
