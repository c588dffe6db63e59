#!/bin/sh
# Runs the built taldb program as a user does and checks its exit statuses:
# 0 for help and a whole demo, 1 for a failure, 2 for a usage error.
taldb=$1
dir=$(mktemp -d) || exit 1
trap 'rm -rf "$dir"' EXIT
expect() {
  want=$1; shift
  "$taldb" "$@" >"$dir/out" 2>&1
  got=$?
  if [ "$got" != "$want" ]; then
    echo "taldb $*: exit $got, expected $want"; cat "$dir/out"; exit 1
  fi
}
expect 0 --help
expect 0 demo "$dir/db"
expect 0 --root "$dir/db" count hosts
expect 1 --root "$dir/none" tables
expect 2 frobnicate
grep -q "no command\|unknown command" "$dir/out" || { echo "no usage message"; exit 1; }
echo "taldb program check passed"
