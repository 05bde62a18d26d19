define N 4
define SET(v, w) g = v + w
define LONG one \
   two
num g
num main() { num a[N] SET(1, (2)) return g }
