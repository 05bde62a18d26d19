string s
num a
num main() { a = (1 + 2) * 3 - 4 / 2 % 3 a = a < 2 && a >= 1 || a != 0 s = "a" + "b" s += "c" return a }
# comment # // line
