--add ../../../examples/virtual_sensor/vsensor.inf --add ../../../examples/virtual_sensor/vsensor.sys --add ../../../examples/virtual_sensor/vsensor.cat
# not under Wine 32: Wine installs devices from a 32-bit process on 64-bit Windows; Windows refuses (ERROR_IN_WOW64)
/install
/install
/uninstall
