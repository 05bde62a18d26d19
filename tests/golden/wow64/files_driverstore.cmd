--profile 10-64 --wow64 --add data/payload.bin
# not under Wine 32: Wine redirects system32\driverstore, which Windows 7 and later exempt
