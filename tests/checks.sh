# Sourced by the shell tests that report check by check: each check prints
# "ok: WHAT" or "FAILED: WHAT", and a failure sets fail=1 for the exit status.
# Needs wine_tools.sh for value_of.
fail=0
ok() { echo "ok: $1"; }
bad() { echo "FAILED: $1"; fail=1; }
check() { local what=$1; shift; if "$@"; then ok "$what"; else bad "$what"; fi; }
# value_of 64|32 KEY NAME: a registry value's data as reg.exe of that view shows it.
value_of() { qbx_reg_as "$1" query "$2" /v "$3" 2>/dev/null | tr -d '\r' | awk -v n="$3" '$1==n {$1=""; $2=""; sub(/^ +/, ""); print}'; }
