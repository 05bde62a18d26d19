--profile 10-64 --wow64 --import-reg data/views.reg --export-reg /dev/stdout --export-key "HKLM\SOFTWARE\Golden Views" --export-key "HKLM\SOFTWARE\WOW6432Node\Golden Views" --export-key "HKLM\SYSTEM\Golden Views"
# not under Wine: imports and exports the simulated machine's registry
