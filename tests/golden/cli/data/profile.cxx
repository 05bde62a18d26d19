// The environment a profile gives: version code, language and directories.
num main() {
  string dirs = WINDIR + "|" + WINDIR_SYSTEM32 + "|" + WINDIR_ROOT
  msgbox(dirs, "Profile", 0)
  return getwinversion() * 10 + getlanguage()
}
