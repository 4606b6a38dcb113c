#!/bin/bash
# scripts/release on a small tree with stand-ins for the scripts that it calls: it releases what is prepared, and nothing
# else; a dry run changes nothing.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
tree=$work/tree
export GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_NOSYSTEM=1
export GIT_AUTHOR_NAME=t GIT_AUTHOR_EMAIL=t@example.org GIT_COMMITTER_NAME=t GIT_COMMITTER_EMAIL=t@example.org

fail() {
    echo "$1"
    cat "$work/said"
    exit 1
}
stand_in() { # script, what it does besides
    mkdir -p "$(dirname -- "$tree/$1")"
    # shellcheck disable=SC2016 # expanded by the stand-in
    printf '#!/bin/bash\necho "%s $*" >>"$CALLS"\n%s\n' "$1" "$2" >"$tree/$1"
    chmod +x "$tree/$1"
}
commit() {
    git -C "$tree" add -A
    git -C "$tree" commit -qm "$1"
}
release() { # expected exit code, argument...
    local expected=$1 code=0
    shift
    : >"$CALLS"
    "$tree/scripts/release" "$@" >"$work/said" 2>&1 || code=$?
    ((code == expected)) || fail "exit code $code, not $expected"
}
calls() { # expected
    [[ $(cut -d ' ' -f 1 "$CALLS" | tr '\n' ' ') == "$1" ]] || fail "it called: $(cat "$CALLS")"
}
no_tag() { # case
    [[ -z $(git -C "$tree" tag) ]] || fail "$1, but there is a tag"
}
# A case of its own: something of the tree is not as it must be.
refused() { # file, sed expression, what is said
    sed -i -e "$2" "$tree/$1"
    commit "$1"
    release 1
    grep -qF -- "$3" "$work/said" || fail "$1: nothing of '$3'"
    calls ""
    no_tag "$1 does not fit"
    git -C "$tree" reset -q --hard HEAD~1
}

export CALLS=$work/calls
all="scripts/lint scripts/test bench/compare scripts/package "
mkdir -p "$tree/scripts" "$tree/platform"
cp "$root/scripts/release" "$tree/scripts/"
# The pages as they are: what the script looks for is in them.
for file in packaging/debian/changelog docs/man docs/examples.md docs/installing.md examples; do
    mkdir -p "$(dirname -- "$tree/$file")"
    cp -r "$root/$file" "$tree/$file"
done
version=$(sed -nE 's/^#define ZEL_VERSION_(MAJOR|MINOR|PATCH) ([0-9]+)$/\2/p' "$root/platform/Version.h" | paste -sd .)
cp "$root/platform/Version.h" "$tree/platform/"
printf '# Changelog\n\n## %s - 2026-01-31\n\n### Added\n' "$version" >"$tree/CHANGELOG.md"
echo build >"$tree/.gitignore"
for script in scripts/lint scripts/test bench/compare; do
    stand_in "$script" ''
done
stand_in scripts/package 'mkdir -p build/packages; echo one >build/packages/a.deb; echo two >build/packages/b.zip'
git -C "$tree" init -q
commit first

release 0 --dry-run
calls ""
no_tag "a dry run"
grep -qF "$version is prepared" "$work/said" || fail "a dry run does not say that all is prepared"
release 2 --please

refused CHANGELOG.md 's/2026-01-31/soon/' "CHANGELOG.md: no heading"
refused CHANGELOG.md '1a ## Unreleased' "something is unreleased"
refused packaging/debian/changelog '1s/(.*)/(0.0.9)/' "the newest entry"
refused docs/man/zel.1 '1s/ZEL_Processor [0-9.]*/ZEL_Processor 9.9/' "docs/man/zel.1: "
refused examples/host/CMakeLists.txt 's/ZEL_Processor [0-9.]* REQ/ZEL_Processor 9.9 REQ/' "examples/host/CMakeLists.txt:"
refused docs/examples.md 's/ZEL_Processor [0-9.]* REQ/ZEL_Processor 9.9 REQ/' "docs/examples.md:"
refused docs/installing.md 's/ZEL_Processor-[0-9.]*-win64/ZEL_Processor-9.9.9-win64/' "the archive for Windows"
refused platform/Version.h 's/PATCH [0-9]*/PATCH 99/' "is not prepared"

touch "$tree/new"
release 1
grep -q 'not committed' "$work/said" || fail "it does not say that something is not committed"
calls ""
rm "$tree/new"

# Whatever fails ends it, before what comes behind.
done_so_far=
for script in $all; do
    done_so_far+="$script "
    echo 'exit 1' >>"$tree/$script"
    commit "$script fails"
    release 1
    calls "$done_so_far"
    no_tag "$script failed"
    git -C "$tree" reset -q --hard HEAD~1
done
echo 'touch new' >>"$tree/scripts/test"
commit "a test that leaves something"
release 1
no_tag "the sources changed meanwhile"
rm "$tree/new"
git -C "$tree" reset -q --hard HEAD~1

release 0
calls "$all"
grep -qx "bench/compare bench/results/$version.json" "$CALLS" || fail "it compares something else"
grep -qx 'scripts/package --check-reproducible' "$CALLS" || fail "it does not compare the packages"
[[ $(git -C "$tree" rev-parse "v$version^{commit}") == "$(git -C "$tree" rev-parse HEAD)" ]] || fail "the tag is elsewhere"
(cd "$tree/build/packages" && sha256sum --quiet -c SHA256SUMS) || fail "the sums are wrong"
(($(wc -l <"$tree/build/packages/SHA256SUMS") == 2)) || fail "there are other sums than two"
git -C "$tree" tag -l --format '%(contents)' | grep -xF -- "$(head -n 1 "$tree/build/packages/SHA256SUMS")" >/dev/null ||
    fail "the tag lacks the sums"

git -C "$tree" tag -d "v$version" >/dev/null
release 0 --tolerance 30
grep -qx "bench/compare --tolerance 30 bench/results/$version.json" "$CALLS" || fail "the tolerance is not that of the caller"

release 1
grep -q "there is a tag v$version already" "$work/said" || fail "it makes a release twice"
