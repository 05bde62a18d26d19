--profile 10-64 --wow64 --add data/payload.bin
# not under Wine: Wine loads no kernel drivers
