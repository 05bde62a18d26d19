
/abcd
