-- A counting loop with arithmetic; the first argument is the number of rounds.
local n = tonumber(arg[1])
local sum = 0
local i = 0
while i < n do
  sum = (sum + (i * 7) % 13 + i // 3) % 1000003
  i = i + 1
end
print(sum)
