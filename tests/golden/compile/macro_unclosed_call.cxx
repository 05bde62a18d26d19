define F(x) x
num main() { return F(1, 2
