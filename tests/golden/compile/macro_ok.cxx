define RETRY_LIMIT  3
define SET_FLAG(v)  nFlag = v
define LONG  1 + \ ignored
     2
num nFlag
num main() {
  num n = RETRY_LIMIT
  num t[RETRY_LIMIT] = {LONG, RETRY_LIMIT}
  SET_FLAG(n + 1)
  return nFlag
}
