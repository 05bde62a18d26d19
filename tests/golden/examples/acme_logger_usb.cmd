--fast-sleep --device USB\VID_0AC3&PID_1207\5&1A2B&0&1=USB\VID_0AC3&PID_1207 --driver-reboot --add ../../../examples/acme_logger/acmelog.inf --add ../../../examples/acme_logger/acmelog.sys --add ../../../examples/acme_logger/acmelog.cat
/install /silent
/uninstall /silent
