#!/bin/bash
# That scripts/lint finds what is planted, mends what it can, and finds nothing in the tree as it is.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
for tool in clang-format-14 clang-tidy-14 shellcheck; do
    command -v "$tool" >/dev/null || { echo "skipped: there is no $tool"; exit 77; }
done
git -C "$root" rev-parse HEAD >/dev/null 2>&1 || { echo "skipped: this is no clone"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
git clone -q -- "$root" "$work/tree"
cd -- "$work/tree"
git -C "$root" diff HEAD --binary | git apply --allow-empty --index
git -c user.name=x -c user.email=x@localhost commit -q --allow-empty -m "As it is"

lint() { # arguments
    code=0
    said=$(scripts/lint --since HEAD "$@" </dev/null 2>&1) || code=$?
}
expect() { # code, what was done, words
    [[ $code == "$1" && $said == *"$3"* ]] || { printf '%s: exit code %s\n%s\n' "$2" "$code" "$said"; exit 1; }
}

lint
expect 0 "the tree as it is" ""

printf 'class  CBadlyLaidOut{ };\n' >>platform/Path.h
lint
expect 1 "a header that is badly laid out" "platform/Path.h"
lint --fix
expect 0 "laid out anew" ""
grep -qx 'class CBadlyLaidOut {};' platform/Path.h || { echo "--fix left it as it was"; exit 1; }

git checkout -q .
# shellcheck disable=SC2016 # for the planted script to expand
printf 'cd $1\n' >>scripts/demo
lint
expect 1 "a script with an unquoted word" "SC2086"

git checkout -q .
printf '\nint* g_pPlanted = 0;\n' >>platform/Version.cpp
lint
expect 1 "a source with an old null pointer" "modernize-use-nullptr"

lint --since no-such-commit
expect 2 "a commit that is not there" "no commit 'no-such-commit'"
