--matrix xp,7,10
/install
