#!/usr/bin/env bash
# Checks the hardening flags of a binary with readelf.
set -euo pipefail
found=$(LC_ALL=C readelf --wide --program-headers --dynamic --dyn-syms "$1")
status=0
while IFS='|' read -r what pattern; do
  grep -qE "$pattern" <<<"$found" || { echo "missing: $what"; status=1; }
done <<'E'
a place that changes from start to start|Flags: .*PIE
all symbols bound before the program begins|Flags: .*NOW
tables of addresses that are read-only from then on|GNU_RELRO
a stack that is not executed|GNU_STACK .* RW  0x
guarded stack frames|__stack_chk_fail@
functions that know the size of what they write to|__[a-z]+_chk@
E
exit $status
