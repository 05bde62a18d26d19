
# not under Wine 32: a 32-bit process has 2 GiB of address space, too little for the 544 MiB text and its copies
/0
/1
/2
/3
/4
