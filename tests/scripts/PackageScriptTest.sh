#!/bin/bash
# scripts/package --check-reproducible on stand-ins for the tools that build and pack: it makes the packages twice, in two
# folders, and fails when one of them differs or is missing. What an earlier version left is no package of this one.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
mkdir "$work/bin" "$work/tree" "$work/tree/scripts"
cp -r "$root/scripts/package" "$root/scripts/lib" "$work/tree/scripts/"
git -C "$work/tree" init -q

stand_in() { # file, text
    printf '#!/bin/bash\n%s\n' "$2" >"$1"
    chmod +x "$1"
}
fail() {
    echo "$1"
    cat "$work/said"
    exit 1
}
stand_in "$work/tree/scripts/install-packages" 'exit 0'
stand_in "$work/bin/lintian" 'exit 0'
# Gives what it was told to give, or where it is.
# shellcheck disable=SC2016 # expanded by the stand-in
stand_in "$work/bin/cpack" 'mkdir -p "$4"; pwd >>"$WHERE"
    eval "echo $CONTENT" >"$4/one.deb"
    [[ $PWD -ef $TREE ]] && place=here || place=there
    [[ $MORE != "$place" ]] || touch "$4/two.deb"'
stand_in "$work/bin/cmake" 'exit 0'
export WHERE=$work/where TREE=$work/tree MORE='' SOURCE_DATE_EPOCH=1

run() { # what the packages hold
    : >"$WHERE"
    code=0
    CONTENT=$1 PATH=$work/bin:$PATH "$work/tree/scripts/package" --check-reproducible debian >"$work/said" 2>&1 || code=$?
    (($(sort -u "$WHERE" | wc -l) == 2)) || fail "it did not build in two folders"
    [[ ! -e $(tail -n 1 "$WHERE") ]] || fail "the other folder was left"
}

# shellcheck disable=SC2016
run '$SOURCE_DATE_EPOCH'
[[ $code == 0 ]] || fail "equal packages are refused"
grep -q 'both builds gave the same bytes' "$work/said" || fail "it does not say that they are equal"
# shellcheck disable=SC2016
run '$PWD'
[[ $code == 1 ]] || fail "packages that differ are accepted, exit code $code"
grep -q 'one.deb' "$work/said" || fail "it does not say which package differs"

packages=$work/tree/build/packages
touch "$packages/old.deb" "$work/tree/build/package/packages/left.deb" "$packages/other.zip"
# shellcheck disable=SC2016
run '$SOURCE_DATE_EPOCH'
[[ $code == 0 ]] || fail "what an earlier version left counts, exit code $code"
[[ $(cd "$packages" && echo *) == "one.deb other.zip" ]] || fail "there are other packages: $(ls "$packages")"
for MORE in here there; do
    # shellcheck disable=SC2016
    run '$SOURCE_DATE_EPOCH'
    [[ $code == 1 ]] || fail "a package that was only made $MORE is accepted, exit code $code"
    grep -q 'two.deb' "$work/said" || fail "it does not say which package is missing"
done
