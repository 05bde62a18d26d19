num f(bool a);
