--fail CreateFile:5:3
/first
/second
