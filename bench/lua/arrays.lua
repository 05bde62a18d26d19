-- Array indexing: sums a 1000-element array from both ends, once per round;
-- the first argument is the number of rounds.
local n = tonumber(arg[1])
local a = {}
for i = 0, 999 do
  a[i + 1] = i * 3
end
local sum = 0
local r = 0
while r < n do
  local i = 0
  while i < 1000 do
    sum = (sum + a[i + 1] + a[1000 - i]) % 1000003
    i = i + 1
  end
  r = r + 1
end
print(sum)
