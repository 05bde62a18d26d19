num main() { _mscall { 1 2 } return 0 }
