define N 3
num n = N
