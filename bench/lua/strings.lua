-- String building: appends digits, measuring and restarting the text every
-- 100 characters; the first argument is the number of appends.
local n = tonumber(arg[1])
local total = 0
local s = "x"
local i = 0
while i < n do
  s = s .. tostring(i % 10)
  if #s >= 100 then
    total = total + #s
    s = "x"
  end
  i = i + 1
end
print(total + #s)
