num f()
num x
