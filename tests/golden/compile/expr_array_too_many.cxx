num m[2][3]
num main() { return m[1][2][3] }
