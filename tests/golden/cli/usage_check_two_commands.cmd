--check
/install
/uninstall
