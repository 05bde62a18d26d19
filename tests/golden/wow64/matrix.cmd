--matrix 7,10-64 --wow64 --expect 0 --add data/payload.bin
# not under Wine: a matrix of simulated machines
