#!/bin/bash
# scripts/fetch-source with the real apt and dpkg-source, on an archive of this test's own in place of the machine's: one
# small source package in several versions, with a patch of the distribution.
set -euo pipefail

export LC_ALL=C # what apt says is compared

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
for command in apt-get dpkg-source; do
    command -v "$command" >/dev/null || {
        echo "there is no $command here"
        exit 77
    }
done
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
fail() {
    echo "$1"
    [[ ! -s $work/said ]] || cat "$work/said"
    exit 1
}

# A source package zeltest with one file, which a patch changes from "plain" to "patched VERSION".
make_package() { # version
    local tree=$work/trees/zeltest-${1%-*}
    rm -rf -- "$tree"
    mkdir -p "$tree/debian/source" "$tree/debian/patches" "$work/archive"
    echo plain >"$tree/code.txt"
    tar -C "$work/trees" -cJf "$work/archive/zeltest_${1%-*}.orig.tar.xz" --exclude debian --mtime @0 --sort=name \
        --owner=0 --group=0 "${tree##*/}"
    echo '3.0 (quilt)' >"$tree/debian/source/format"
    echo change.patch >"$tree/debian/patches/series"
    printf -- '--- a/code.txt\n+++ b/code.txt\n@@ -1 +1 @@\n-plain\n+patched %s\n' "$1" >"$tree/debian/patches/change.patch"
    printf 'zeltest (%s) stable; urgency=low\n\n  * Made.\n\n -- T <t@example.org>  Thu, 01 Jan 2026 00:00:00 +0000\n' \
        "$1" >"$tree/debian/changelog"
    printf 'Source: zeltest\nMaintainer: T <t@example.org>\nStandards-Version: 4.6.2\n\nPackage: zeltest\nArchitecture: all\nDescription: test\n' \
        >"$tree/debian/control"
    echo "$1" >>"$work/versions"
    (cd -- "$work/archive" && dpkg-source -b "$tree" >"$work/dpkg-source.log" 2>&1) || fail "$(cat "$work/dpkg-source.log")"
}

# The index that an archive has: each description of a package with its own checksum added.
make_index() {
    local dsc
    for dsc in "$work"/archive/*.dsc; do
        [[ -e $dsc ]] || continue
        sed -n '/^Source:/s//Package:/p; /^\(Format\|Binary\|Architecture\|Version\|Maintainer\|Standards-Version\):/p' "$dsc"
        echo 'Directory: .'
        for field in Files:md5sum Checksums-Sha256:sha256sum; do
            echo "${field%:*}:"
            printf ' %s %s %s\n' "$("${field#*:}" <"$dsc" | cut -d ' ' -f 1)" "$(stat -c %s "$dsc")" "${dsc##*/}"
            sed -n "/^${field%:*}:/,/^[^ ]/{/^ /p}" "$dsc"
        done
        echo
    done >"$work/archive/Sources"
}

# What the machine's own package sources are to be: settings like those of a Debian, for binary packages.
write_sources() { # one-line | deb822, option
    rm -rf -- "${work:?}/etc"
    mkdir -p "$work/etc/sources.list.d"
    if [[ $1 == one-line ]]; then
        echo "deb [$2=yes] file:$work/archive ./" >"$work/etc/sources.list"
    else
        printf 'Types: deb\nURIs: file:%s\nSuites: ./\n%s: yes\n' "$work/archive" "$2" \
            >"$work/etc/sources.list.d/test.sources"
    fi
    printf 'Dir::Etc::sourcelist "%s";\nDir::Etc::sourceparts "%s/";\n' "$work/etc/sources.list" \
        "$work/etc/sources.list.d" >"$work/apt.conf"
}

# Stand-ins: what is installed; apt-get as it is, with its calls counted; dpkg-source, which a test can break.
mkdir "$work/bin"
stand_in() { # name text
    printf '#!/bin/bash\n%s\n' "$2" >"$work/bin/$1"
    chmod +x "$work/bin/$1"
}
# shellcheck disable=SC2016 # expanded by the stand-in
stand_in dpkg-query '[[ -z $INSTALLED ]] || echo "installed zeltest $INSTALLED"; echo "installed other 9"; echo "config-files zeltest 99-1"'
stand_in apt-get "echo \"\$*\" >>'$work/calls'; exec $(command -v apt-get) \"\$@\""
stand_in dpkg-source "[[ ! -e $work/kill ]] || { mkdir '$work/into/.zeltest.work/tree'; kill -KILL \"\$(cat '$work/pid')\"; }
exec $(command -v dpkg-source) \"\$@\""

fetch() { # package
    : >"$work/calls"
    fetch_once "$@"
}
fetch_once() {
    code=0
    APT_CONFIG=$work/apt.conf PATH=$work/bin:$PATH "$root/scripts/fetch-source" "${1-zeltest}" "$work/into" \
        >"$work/said" 2>&1 || code=$?
}
expect_tree() { # case text
    [[ $code == 0 ]] || fail "exit code $code: $1"
    [[ $(<"$work/into/zeltest/code.txt") == "$2" ]] || fail "$1: $(<"$work/into/zeltest/code.txt")"
    # Nothing is left over but the lock.
    [[ $(find "$work/into" -mindepth 1 -maxdepth 1 -printf '%P\n' | sort | tr '\n' ' ') == ".zeltest.lock zeltest " ]] ||
        fail "$1: left over: $(ls -A "$work/into")"
}
expect_refusal() { # text in what is said
    ((code != 0)) || fail "expected a refusal with '$1'"
    grep -qF -- "$1" "$work/said" || fail "the refusal says nothing of '$1'"
    [[ ! -e $work/into/.zeltest.work ]] || fail "a refusal leaves its work folder"
}

make_package 1.0-1
make_package 1.0-2
make_package 2.0-1
make_index

for form in one-line deb822; do
    write_sources "$form" trusted
    rm -rf "$work/into"
    export INSTALLED=1.0-1
    fetch
    expect_tree "$form" "patched 1.0-1"
    fetch
    expect_tree "$form, again" "patched 1.0-1"
    [[ ! -s $work/calls ]] || fail "$form: what is there already was fetched again"
done

INSTALLED=2.0-1 fetch
expect_tree "the machine got another version" "patched 2.0-1"

INSTALLED=1.0-0 fetch
expect_tree "the installed version is no longer offered" "patched 1.0-2"
grep -q '1.0-2.*1.0-0' "$work/said" || fail "another version than the installed one was taken in silence"
INSTALLED=1.0-0 fetch
[[ $code == 0 && ! -s $work/calls ]] || fail "the version in place of the installed one is fetched each time"

INSTALLED=3.0-1 fetch
expect_refusal "none is offered that fits the installed version (3.0-1)"
[[ -e $work/into/zeltest/code.txt ]] || fail "a refusal takes away what was there"

INSTALLED="" fetch
expect_tree "nothing of it is installed" "patched 2.0-1"

rm -rf "$work/into"
fetch zelnone
expect_refusal "fetch-source zelnone"

# An archive that nobody signed.
rm -rf "$work/into"
write_sources one-line lang
fetch
expect_refusal "does not have a Release file"
[[ ! -e $work/into/zeltest ]] || fail "what nobody signed was taken"
write_sources one-line trusted

# A file that is not the one of the index.
cp -r "$work/archive" "$work/good"
echo more >>"$work/archive/zeltest_1.0-1.debian.tar.xz"
fetch
expect_refusal "1.0-1 can't be fetched"
rm -rf "$work/archive"
mv "$work/good" "$work/archive"

# Killed in the middle: the next one starts from the beginning.
touch "$work/kill"
(
    # shellcheck disable=SC2016 # expanded by the shell that becomes the script
    APT_CONFIG=$work/apt.conf PATH=$work/bin:$PATH \
        bash -c 'echo $$ >"$1/pid"; exec "$2/scripts/fetch-source" zeltest "$1/into"' _ "$work" "$root" >"$work/said" 2>&1
) && fail "it was not killed"
[[ -d $work/into/.zeltest.work/tree && ! -e $work/into/zeltest ]] || fail "killed: it was not in the middle"
rm "$work/kill"
fetch
expect_tree "after a killed one" "patched 1.0-1"

# Two at once: one does it, the other waits for that.
rm -rf "$work/into"
: >"$work/calls"
(fetch_once && exit "$code") &
fetch_once
wait $! || fail "one of two failed"
expect_tree "two at once" "patched 1.0-1"
[[ $(grep -c update "$work/calls") == 1 ]] || fail "two at once: both fetched"

code=0
"$root/scripts/fetch-source" ../zeltest "$work/into" 2>"$work/said" || code=$?
[[ $code == 2 ]] || fail "a name that is no name of a package: exit code $code"
