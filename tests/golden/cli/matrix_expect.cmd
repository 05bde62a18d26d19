--matrix 98,xp,11 --expect 1
/install
/uninstall
