include "C:\fuzz.cxx"
include WINDIR
num x = !y
