num x
x = 1; x = 2
