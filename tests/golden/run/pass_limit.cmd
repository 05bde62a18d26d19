--pass-limit 40
/done

