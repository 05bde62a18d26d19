
/install
/a /b/c

install
