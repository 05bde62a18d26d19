-- A chain of tests on i % 4 in a loop (Lua has no switch); the first
-- argument is the number of passes.
local n = tonumber(arg[1])
local i = 0
local sum = 0
while i < n do
  local k = i % 4
  if k == 0 then
    sum = sum + 1
  elseif k == 1 then
    sum = sum + 3
  elseif k == 2 then
    sum = sum + 5
  elseif k == 3 then
    sum = sum - 2
  end
  i = i + 1
end
print(sum % 1000003)
