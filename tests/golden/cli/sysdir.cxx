// The Windows directories follow the system directory.
num main() {
  msgbox(WINDIR + "|" + WINDIR_SYSTEM32 + "|" + WINDIR_INF + "|" + WINDIR_TEMP + "|" + WINDIR_ROOT, "Dirs", 0)
  return getlen(WINDIR)
}
