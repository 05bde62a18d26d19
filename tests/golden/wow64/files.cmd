--profile 10-64 --wow64 --add data/payload.bin
# wine: win32 (the 32-bit DLL in a WoW64 prefix)
