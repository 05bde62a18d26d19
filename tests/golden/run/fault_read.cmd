--fail ReadFile:5:2
/first
/second
