--add ../../../examples/virtual_sensor/vsensor.inf --add ../../../examples/virtual_sensor/vsensor.sys --add ../../../examples/virtual_sensor/vsensor.cat
/install
/install
/uninstall
