num m[2]
num main() { return m[] }
