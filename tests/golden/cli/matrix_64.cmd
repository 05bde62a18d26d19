--matrix 7-64,7,10-64 --put data/x64only.inf=C:\pkg\x64only.inf --put ../devices/data/vdev.sys=C:\pkg\vdev.sys --device USB\VID_1234&PID_5678\5&1A2B&0&1=USB\VID_1234&PID_5678
/install
