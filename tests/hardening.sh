#!/usr/bin/env bash
# Checks the hardening flags of a binary with readelf.
set -euo pipefail
found=$(LC_ALL=C readelf --wide --program-headers --dynamic --dyn-syms "$1")
status=0
while IFS='|' read -r what pattern; do
  grep -qE "$pattern" <<<"$found" || { echo "missing: $what"; status=1; }
done <<'E'
position-independent executable (PIE)|Flags: .*PIE
symbols bound at the start (BIND_NOW)|Flags: .*NOW
read-only relocations (RELRO)|GNU_RELRO
non-executable stack|GNU_STACK .* RW  0x
stack protector|__stack_chk_fail@
fortified functions (FORTIFY_SOURCE)|__[a-z]+_chk@
E
exit $status
