string s = WINDIR + "\\x"
num k = HKEY_LOCAL_MACHINE
num main() { return OS_VISTA + k }
