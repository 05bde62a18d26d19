--profile 10-64 --wow64 --add data/payload.bin
# not under Wine 32: Wine does not redirect lastgood\system32
