

install
no slash here
