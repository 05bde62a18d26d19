// Packaged by the Wine tests: one full Action call.
num main()
{
    return 7
}
