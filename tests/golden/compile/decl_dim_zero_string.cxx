string v[2][0]
