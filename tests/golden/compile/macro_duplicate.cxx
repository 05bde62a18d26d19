define A 1
define A 2
