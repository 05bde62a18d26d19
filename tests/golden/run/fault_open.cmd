--fail CreateFile:5:2
/first
/second
