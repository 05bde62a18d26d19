--trace=statements --put include/helpers.inc
/install /quiet
