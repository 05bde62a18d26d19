--put data/vdev.inf=C:\pkg\vdev.inf --put data/vdev.sys=C:\pkg\vdev.sys --driver-reboot
/first
/second
