#!/bin/bash
# scripts/install-packages on stand-ins for the system's tools: what it asks for, and when it asks for nothing.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
mkdir "$work/bin"

stand_in() { # name, text
    printf '#!/bin/bash\n%s\n' "$2" >"$work/bin/$1"
    chmod +x "$work/bin/$1"
}
fail() {
    echo "$1"
    [[ ! -s $work/said ]] || cat "$work/said"
    exit 1
}
# shellcheck disable=SC2016 # expanded by the stand-in
stand_in dpkg-query '[[ " $MISSING " == *" ${@: -1} "* ]] && exit 1; printf installed'
stand_in apt-get "echo \"apt-get \$*\" >>'$work/calls'; exit \${APT_CODE:-0}"
stand_in sudo 'exit 1'
# shellcheck disable=SC2016
stand_in id 'echo "$ID"'

run() { # arguments of install-packages
    : >"$work/calls"
    code=0
    PATH=$work/bin:$PATH "$root/scripts/install-packages" "$@" >"$work/said" 2>&1 || code=$?
}

export MISSING="" ID=0
run
[[ $code == 0 && ! -s $work/calls && ! -s $work/said ]] || fail "with all packages there, it did something"

export MISSING="sqlite3 wine64"
run
[[ $code == 0 ]] || fail "as root: exit code $code"
grep -qx 'apt-get update -q' "$work/calls" || fail "as root: no update"
grep -qx 'apt-get install -y -q --no-install-recommends sqlite3 wine64' "$work/calls" || fail "as root: no installation"

run native
grep -qx 'apt-get install -y -q --no-install-recommends sqlite3' "$work/calls" || fail "native: asked for Wine, or nothing"

export MISSING="chromium"
run
[[ $code == 0 && ! -s $work/calls ]] || fail "a browser was asked for that nobody wanted"
run browser
grep -qx 'apt-get install -y -q --no-install-recommends chromium' "$work/calls" || fail "browser: not asked for"

export MISSING="sqlite3 wine64"
APT_CODE=100 run
[[ $code != 0 ]] || fail "a failed installation must be told"
grep -q 'sqlite3 wine64' "$work/said" || fail "a failed installation does not name the packages"

export ID=1000
run
[[ $code != 0 && ! -s $work/calls ]] || fail "without rights it must fail, and not try"
grep -q 'install-packages: cannot install' "$work/said" || fail "without rights: no reason"
grep -q 'sqlite3 wine64' "$work/said" || fail "without rights: the missing packages are not named"
