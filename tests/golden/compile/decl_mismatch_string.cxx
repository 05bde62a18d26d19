string f(num a);
string f(string a) { return a }
