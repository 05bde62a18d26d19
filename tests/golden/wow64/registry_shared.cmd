--profile 10-64 --wow64
# not under Wine 32: Wine redirects the keys that Windows shares between the views
