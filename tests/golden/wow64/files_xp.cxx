// 64-bit Windows XP has no Sysnative alias: the path does not exist (3).
num main() {
  return extractresfile("payload.bin", WINDIR + "\Sysnative\golden_wow64.txt")
}
