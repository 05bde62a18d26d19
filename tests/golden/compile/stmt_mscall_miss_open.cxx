num main() { _mscall 1 return 0 }
