define 1X 2
