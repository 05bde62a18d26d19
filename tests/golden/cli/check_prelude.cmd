--check
/install
