--fast-sleep --diff --add ../../../examples/acme_logger/acmelog.inf --add ../../../examples/acme_logger/acmelog.sys --add ../../../examples/acme_logger/acmelog.cat
/install
