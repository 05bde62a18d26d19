--profile 10-64 --wow64 --diff --add data/payload.bin
# not under Wine: shows the simulated machine's change set
