include 5
