# shellcheck shell=bash
# What tests of programs as a user has them share: the build folders, a scratch folder, and ways to fail. A program that
# the test left running, its process in $server, ends with the test, and so does the Wine that it used.

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../../.." && pwd)
build=${ZEL_BUILD_DIR:-$root/build/debug}
mingw=$root/build/mingw
work=$(mktemp -d)
server=
failures=0

cleanup() {
    [[ -z $server ]] || kill -KILL "$server" 2>/dev/null || true
    [[ -z ${ZEL_WINE_BUILD-} ]] || WINEPREFIX=$ZEL_WINE_BUILD/wine wineserver -k 2>/dev/null || true
    rm -rf -- "$work"
}
trap cleanup EXIT

# The test goes on, and has failed in the end.
complain() {
    echo "$1"
    failures=$((failures + 1))
}
stop() {
    echo "$1"
    exit 1
}
# A step whose output matters only when it fails; the log stays in the scratch folder.
logged() { # log command...
    local log=$work/$1.log
    shift
    "$@" >"$log" 2>&1 </dev/null || {
        tail -n 40 "$log"
        stop "failed: $*"
    }
}
