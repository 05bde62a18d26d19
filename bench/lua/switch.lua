-- A switch in a loop: one of five num cases or the default on every pass;
-- the first argument is the number of rounds.
local n = tonumber(arg[1])
local i = 0
local sum = 0
while i < n do
  local k = i % 7
  if k == 0 then
    sum = sum + 3
  elseif k == 1 then
    sum = sum + 5
  elseif k == 2 or k == 3 then
    sum = sum + 7
  elseif k == 4 then
    sum = sum - 2
  else
    sum = sum + 1
  end
  sum = sum % 1000003
  i = i + 1
end
print(sum)
