-- Functions with string parameters and results: registry paths built with ..
-- and tested for a prefix with string.sub; the first argument is the number
-- of paths.
local n = tonumber(arg[1])
local roots = {"SYSTEM\\CurrentControlSet\\Services", "SOFTWARE\\Vendor\\Driver", "SYSTEM\\CurrentControlSet\\Enum"}
local leaves = {"usbser", "Parameters", "Uninstall", "USB"}

local function join(root, leaf)
  return root .. "\\" .. leaf
end

local function under(path, prefix)
  local size = string.len(prefix)
  if string.len(path) < size then
    return 0
  end
  if string.sub(path, 1, size) == prefix then
    return 1
  end
  return 0
end

local i = 0
local total = 0
local path
while i < n do
  path = join(roots[i % 3 + 1], leaves[i % 4 + 1])
  if under(path, "SYSTEM\\CurrentControlSet") == 1 then
    total = total + 5
  end
  total = (total + string.len(path)) % 1000003
  i = i + 1
end
print(total)
