
# not under Wine: Wine orders subkeys by their names in lower case (docs/wine.md)
