-- Splitting a comma-separated list of hardware IDs, as a driver installer
-- does: every character looked at, every ID cut out, its revision read as a
-- number and written back as text. The first argument is the number of
-- rounds over the list.
local n = tonumber(arg[1])
local list = ""
local k = 0
while k < 8 do
  list = list .. "USB\\VID_0BDA&PID_81" .. tostring(50 + k) .. "&REV_" .. tostring(3000 + k * 7) .. ","
  k = k + 1
end
local len = string.len(list)
local round = 0
local total = 0
while round < n do
  local start = 0
  local j = 0
  while j < len do
    if string.sub(list, j + 1, j + 1) == "," then
      local id = string.sub(list, start + 1, j)
      local size = string.len(id)
      local rev = tonumber(string.sub(id, size - 3, size))
      total = (total + string.len(tostring(rev + round)) + rev) % 1000003
      start = j + 1
    end
    j = j + 1
  end
  round = round + 1
end
print(total)
