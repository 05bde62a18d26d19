num a
string a
