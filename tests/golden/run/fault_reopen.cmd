--fail CreateFile:5:5
/first
/second
