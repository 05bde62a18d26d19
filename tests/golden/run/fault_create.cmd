--fail CreateFile:5:4
/first
/second
