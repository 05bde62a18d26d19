num a
{ a = 1 }
