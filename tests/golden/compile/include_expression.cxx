include "a" + "b"
