--show
/install
