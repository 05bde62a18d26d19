--fail CreateFile:5:6
/first
/second
/third
