--profile vista-64 --wow64 --add data/payload.bin
# not under Wine: Wine redirects as Windows 7 and later do
