--profile xp-64 --wow64 --add data/payload.bin
# not under Wine: Wine knows Sysnative on every version
