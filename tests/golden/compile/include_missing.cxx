include "include\no_such_file.cxx"
num main() { return 0 }
