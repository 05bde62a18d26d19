string f() x
