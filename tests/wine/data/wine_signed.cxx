// Packaged and signed by the Wine signing test: the script runs from a module
// whose package lies in front of its certificate table, and extracts a file
// from it (7 when the extraction succeeded).
num main()
{
    return extractresfile("signed_payload.txt", WINDIR_TEMP + "\signed_payload.txt") + 6
}
