num f(num a, num a);
