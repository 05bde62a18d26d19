num a, b = 2, c[3] = {1, 2,}
string s = "x", t[2][2] = {"a", "b", "c"}
num f(num x, string y);
num f(num x, string y) { num z = x * 2 return z }
