// Without parameters the prelude declares only the count.
num main() {
  return _Parameters_Num + 10
}
