#!/usr/bin/env bash
# Builds setup-run and runs the example driver installation
# (examples/acme_logger): /install, then /uninstall, against one simulated
# machine kept in build/example-machine. The library's output goes to standard
# output; the machine's event log ([msgbox] lines etc.), the result of each
# Action call and what each run changed on the machine (--diff) go to standard
# error. The uninstall's change set undoes the install's exactly.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-tools.sh host
cmake --preset host >/dev/null
cmake --build --preset host --target setup-run

EXAMPLE=examples/acme_logger
MACHINE=build/example-machine
rm -rf "$MACHINE"
RUN=(build/host/setup-run --machine "$MACHINE" --fast-sleep --diff
     --add "$EXAMPLE/acmelog.inf" --add "$EXAMPLE/acmelog.sys" --add "$EXAMPLE/acmelog.cat" --add "$EXAMPLE/acmemon.sys")

for command in "/install" "/uninstall"; do
  printf '\n==== setup-run %s %s\n' "$EXAMPLE/install.cxx" "$command"
  "${RUN[@]}" "$EXAMPLE/install.cxx" "$command"
  printf '\n'
done
printf '\n==== The machine is kept in %s (files under fs/, registry and devices in machine.json).\n' \
  "$MACHINE"
