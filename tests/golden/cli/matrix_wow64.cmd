--matrix 7,7-64,10-64 --wow64 --expect 1 --put ../devices/data/vdev.inf=C:\pkg\vdev.inf --put ../devices/data/vdev.sys=C:\pkg\vdev.sys --device USB\VID_1234&PID_5678\5&1A2B&0&1=USB\VID_1234&PID_5678
/install
