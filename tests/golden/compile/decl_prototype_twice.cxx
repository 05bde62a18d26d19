num f();
num f();
