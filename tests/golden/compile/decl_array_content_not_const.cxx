num n
num v[2] = {1, n}
