-- Built-in calls: the length of one of four strings on every pass; the
-- first argument is the number of calls.
local n = tonumber(arg[1])
local words = {"alpha", "be", "gamma delta", "epsilon zeta eta"}
local i = 0
local total = 0
while i < n do
  total = (total + string.len(words[i % 4 + 1])) % 1000003
  i = i + 1
end
print(total)
