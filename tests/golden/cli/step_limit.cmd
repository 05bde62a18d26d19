--step-limit 1000
/run
