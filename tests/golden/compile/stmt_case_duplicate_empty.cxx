num main() { switch ("") { case "": { } case "": { } } return 0 }
