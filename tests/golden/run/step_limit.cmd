--step-limit 500

/done
