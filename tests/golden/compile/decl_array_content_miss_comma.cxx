string v[2] = {"a" "b"}
