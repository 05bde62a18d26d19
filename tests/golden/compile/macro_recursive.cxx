define LOOP LOOP
num main() { LOOP return 0 }
