num f(num a num b);
