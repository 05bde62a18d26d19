--add data/goldsvc.sys
# not under Wine: Wine cannot load the simulated driver images (every start fails with 1114)
