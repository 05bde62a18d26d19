--matrix 2000,10 --expect 0
/install
