num n
num v[n]
