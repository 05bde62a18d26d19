// Packaged by the Wine tests: only its extraction and removal are observed.
num main()
{
    return 1
}
