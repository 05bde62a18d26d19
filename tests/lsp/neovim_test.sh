#!/usr/bin/env bash
# setup-lsp under a real client: Neovim's built-in LSP client opens a script,
# receives its diagnostics, sees them go when the error is fixed, and jumps
# to a definition. Reports SKIPPED (77) when Neovim is not installed.
#   neovim_test.sh SETUP-LSP WORK-DIR
set -euo pipefail
SERVER=$1
WORK=$2
if ! command -v nvim >/dev/null 2>&1; then
  echo "SKIPPED: Neovim (nvim) is not installed; scripts/install-tools.sh all installs it"
  exit 77
fi
rm -rf "$WORK"
mkdir -p "$WORK"
cat >"$WORK/script.cxx" <<'SCRIPT'
define LIMIT 3
num twice(num n) {
  return n * 2
}
num main() {
  num r = twice(LIMIT)
  r = r +
}
SCRIPT
export SETUP_LSP="$SERVER" SETUP_LSP_WORK="$WORK"
export XDG_CONFIG_HOME="$WORK/config" XDG_DATA_HOME="$WORK/data" XDG_STATE_HOME="$WORK/state"
timeout 90 nvim --headless -u NONE -i NONE -n \
  -c "luafile $(dirname "$0")/neovim_test.lua" </dev/null
