num v[0]
