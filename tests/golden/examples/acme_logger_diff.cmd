--fast-sleep --diff --add ../../../examples/acme_logger/acmelog.inf --add ../../../examples/acme_logger/acmelog.sys --add ../../../examples/acme_logger/acmelog.cat --add ../../../examples/acme_logger/acmemon.sys
/install
