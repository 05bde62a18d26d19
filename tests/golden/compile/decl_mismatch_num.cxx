num f(num a);
num f(num b) { return b }
