#!/bin/bash
# The options file of the packaged service is right as it is installed, and so is each option that it has as a comment.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
server=${ZEL_BUILD_DIR:-$root/build/debug}/bin/zel-server
if [[ ! -x $server ]]; then
    echo "there is no $server"
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

check() { # file
    "$server" --request-dir "$work/in" --output-dir "$work/out" --log-file "$work/log" --config "$1" --check-config \
        >"$work/said" 2>&1 || { cat "$work/said"; failed=1; }
}

packaged=$root/packaging/systemd/zel-server.conf
if grep -v '^#' "$packaged" | grep .; then
    echo "the packaged file sets an option"
    failed=1
fi
check "$packaged"
sed -E 's/^#([a-z-]+ = )/\1/' "$packaged" >"$work/all.conf"
(($(grep -c '^[a-z]' "$work/all.conf") >= 10)) || { echo "the packaged file shows no options"; failed=1; }
check "$work/all.conf"
exit "$failed"
