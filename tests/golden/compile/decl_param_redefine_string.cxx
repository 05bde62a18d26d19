string f(num a, string a);
