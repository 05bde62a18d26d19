num main() {
  num i = 0
  while (i < 10) { i += 1 if (i == 5) { break } else { i = i } }
  switch (i) { case 1: i = 2 case (-1): { i = 3 } default: { i = 4 } }
  _mscall { 1 }
  return i
}
