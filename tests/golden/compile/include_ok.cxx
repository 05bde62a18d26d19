include "include\inc_defs.cxx"
num main() { return shared + helper(2) }
