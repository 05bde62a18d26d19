
/nest
/again
