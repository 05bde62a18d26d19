-- A string function in a loop and its result compared: one of four names on
-- every pass, its fourth character tested and its length added; the first
-- argument is the number of passes.
local n = tonumber(arg[1])
local names = {"drvinst", "usbser", "serenum", "drvinst64"}
local i = 0
local total = 0
local t
while i < n do
  t = names[i % 4 + 1]
  if string.sub(t, 4, 4) == "i" then
    total = total + 7
  end
  total = (total + string.len(t)) % 1000003
  i = i + 1
end
print(total)
