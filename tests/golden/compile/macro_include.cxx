define INC include "x.cxx"
num main() { INC return 0 }
