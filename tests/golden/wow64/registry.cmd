--profile 10-64 --wow64
# wine: win32 (the 32-bit DLL in a WoW64 prefix)
