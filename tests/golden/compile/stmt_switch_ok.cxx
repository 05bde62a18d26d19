num main() {
  string s num x
  switch (s) { case "a": x = 1 break case "b": { x = 2 } default: { x = 3 } case "": { } }
  switch (x) { }
  switch (x) { default: { break } case (-1): case 0x10: x = 1 }
  return x
}
