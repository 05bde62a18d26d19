--module data/tiny.dll
/install
