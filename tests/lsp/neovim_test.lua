-- Run by neovim_test.sh inside headless Neovim: drives setup-lsp through the
-- built-in client and exits 0 when everything was seen, 1 otherwise.
local server = os.getenv('SETUP_LSP')
local work = os.getenv('SETUP_LSP_WORK')

local function finish(ok, message)
  io.stdout:write((ok and 'PASS: ' or 'FAIL: ') .. message .. '\n')
  io.stdout:flush()
  os.exit(ok and 0 or 1)
end

vim.cmd('edit ' .. work .. '/script.cxx')
local buf = vim.api.nvim_get_current_buf()
local config = { name = 'setup-lsp', cmd = { server }, root_dir = work }
local client
if vim.lsp.start then
  client = vim.lsp.start(config)  -- Neovim 0.8 and later
else
  client = vim.lsp.start_client(config)
  vim.lsp.buf_attach_client(buf, client)
end
if not client then finish(false, 'the client did not start setup-lsp') end

-- The compiler's first error, at its line of the file (0-based 7: the '}').
if not vim.wait(20000, function() return #vim.diagnostic.get(buf) > 0 end, 50) then
  finish(false, 'no diagnostics arrived')
end
local d = vim.diagnostic.get(buf)[1]
if d.lnum ~= 7 or d.message ~= "expression '}' is invalid." then
  finish(false, 'unexpected diagnostic: line ' .. d.lnum .. ': ' .. d.message)
end

-- Fixing the line makes the client send a change and the error go.
vim.api.nvim_buf_set_lines(buf, 6, 7, false, { '  r = r + 1', '  return r' })
if not vim.wait(20000, function() return #vim.diagnostic.get(buf) == 0 end, 50) then
  finish(false, 'the diagnostic stayed after the fix')
end

-- Go to the definition of `twice` from its call (line 6, column 11, 1-based).
vim.api.nvim_win_set_cursor(0, { 6, 10 })
vim.lsp.buf.definition()
local jumped = vim.wait(20000, function()
  local at = vim.api.nvim_win_get_cursor(0)
  return at[1] == 2 and at[2] == 4
end, 50)
if not jumped then
  local at = vim.api.nvim_win_get_cursor(0)
  finish(false, 'definition did not jump to 2:4 but stayed at ' .. at[1] .. ':' .. at[2])
end
finish(true, 'diagnostics, their clearing and go to definition through Neovim ' .. vim.version().major .. '.' .. vim.version().minor)
