#!/usr/bin/env bash
# Writes the same generated program in the script language (cxx) or in Lua
# (lua) to standard output: about LINES lines, half globals with
# initializers, half ten-line functions with a loop, a branch, a switch, a
# built-in and a call of the previous function.
#   bench/gen_program.sh cxx|lua LINES
set -euo pipefail
lang=$1
lines=$2
awk -v lang="$lang" -v lines="$lines" 'BEGIN {
  globals = int(lines / 2)
  functions = int((lines - globals) / 10)
  for (i = 0; i < globals; i++) {
    if (lang == "cxx") printf "num g%d = %d\n", i, i
    else printf "g%d = %d\n", i, i
  }
  for (f = 0; f < functions; f++) {
    g = "g" ((f * 7919) % (globals > 0 ? globals : 1))
    if (lang == "cxx") {
      printf "num f%d(num n, string s) {\n", f
      print "  num cells[4] = {1, 2, 3, 4}"
      print "  num i = 0"
      print "  while (i < n) { i += 2 }"
      printf "  if (%s > i + 1) { %s = i } else { %s -= 1 }\n", g, g, g
      print "  switch (s) { case \"a\": i = 1 default: { i = 2 } }"
      if (f > 0) printf "  i = f%d(n - 1, s + \"x\")\n", f - 1
      else print "  i = getlen(s)"
      print "  s = numtostring(i)"
      print "  return i + cells[1]"
      print "}"
    } else {
      printf "function f%d(n, s)\n", f
      print "  local cells = {1, 2, 3, 4}"
      print "  local i = 0"
      print "  while i < n do i = i + 2 end"
      printf "  if %s > i + 1 then %s = i else %s = %s - 1 end\n", g, g, g, g
      print "  if s == \"a\" then i = 1 else i = 2 end"
      if (f > 0) printf "  i = f%d(n - 1, s .. \"x\")\n", f - 1
      else print "  i = #s"
      print "  s = tostring(i)"
      print "  return i + cells[2]"
      print "end"
    }
  }
  if (lang == "cxx") print "num main() {\n  return 0\n}"
}'
