// --trace: one line per built-in call with its file and line, its arguments
// (num in decimal, texts quoted with \\ and \t escaped, long texts cut after
// 64 bytes)
// and its result. deletefile of a missing file answers 0: the library prints
// its report on standard output, the trace marks the call as failed.
string szLong = "0123456789012345678901234567890123456789012345678901234567890123456789"

num main() {
  string quoted = "C:\temp\new	file"
  num n = getlen(quoted)
  string text = numtostring(n * 2)
  msgbox(quoted, "Caption", 0)
  getlen(szLong)
  string part = getstr(szLong, 2, 5)
  deletefile("C:\nothing\here.txt")
  return stringtonum(text)
}
