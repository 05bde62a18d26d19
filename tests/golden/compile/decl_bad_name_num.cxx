num 5
