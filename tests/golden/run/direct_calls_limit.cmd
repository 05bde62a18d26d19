--pass-limit 60
/done
/more
