define F(x, y) x + y
num main() { return F(1) }
