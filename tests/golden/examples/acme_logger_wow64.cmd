--matrix xp,7,10-64 --wow64 --fast-sleep --add ../../../examples/acme_logger/acmelog.inf --add ../../../examples/acme_logger/acmelog.sys --add ../../../examples/acme_logger/acmelog.cat --add ../../../examples/acme_logger/acmemon.sys
/install
# not under Wine: a matrix of simulated machines
