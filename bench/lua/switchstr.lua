-- A chain of string comparisons (Lua has no switch): one of five commands on
-- every pass, "remove" also doing what "update" does; the first argument is
-- the number of passes.
local n = tonumber(arg[1])
local commands = {"install", "remove", "update", "repair", "query"}
local i = 0
local sum = 0
local command
while i < n do
  command = commands[i % 5 + 1]
  if command == "install" then
    sum = sum + 3
  elseif command == "remove" then
    sum = sum + 5 + 7
  elseif command == "update" then
    sum = sum + 7
  elseif command == "repair" then
    sum = sum - 2
  else
    sum = sum + 1
  end
  i = i + 1
end
print(sum % 1000003)
