-- Registry keys built by string functions: a string local joined and
-- returned, a result joined with more texts, a local initialized from a
-- call, and a prefix test with string.sub; the first argument is the number
-- of keys.
local n = tonumber(arg[1])
local services = "SYSTEM\\CurrentControlSet\\Services"
local names = {"usbser", "serenum", "UsbDriver", "vcp"}
local values = {"ImagePath", "Start", "DisplayName"}

local function serviceKey(name)
  local key = services .. "\\" .. name
  return key
end

local function valuePath(key, value)
  return key .. "\\Parameters\\" .. value
end

local i = 0
local total = 0
local last
while i < n do
  local key = serviceKey(names[i % 4 + 1])
  last = valuePath(key, values[i % 3 + 1]) .. ";"
  if string.sub(last, 1, 6) == "SYSTEM" then
    total = total + 1
  end
  total = (total + string.len(last)) % 1000003
  i = i + 1
end
print(total)
