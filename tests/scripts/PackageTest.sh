#!/bin/bash
# The packages, made from what is built already, installed into a root of their own and tried there: server, client and
# plug-in work together, and the system's tools accept what they bring. The Windows zip likewise, under Wine, when
# build/mingw is there.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"

field() { # package field
    dpkg-deb -f "$work"/packages/"$1"_*.deb "$2"
}
expect_field() { # package field text
    [[ $(field "$1" "$2") == *"$3"* ]] || complain "$1: $2 is '$(field "$1" "$2")', without '$3'"
}

check_control() {
    local package own
    for package in libzel-processor0 libzel-processor-dev zel-tools zel-plugin-datastore zel-plugin-script; do
        compgen -G "$work/packages/${package}_*.deb" >/dev/null || stop "no package $package"
        [[ $(field "$package" Description | wc -l) -ge 2 ]] || complain "$package: no description"
        dpkg-deb --fsys-tarfile "$work/packages/${package}"_*.deb | tar -t >"$work/files"
        grep -qx "./usr/share/doc/$package/copyright" "$work/files" || complain "$package: no copyright"
        dpkg-deb --fsys-tarfile "$work/packages/${package}"_*.deb | tar -xO "./usr/share/doc/$package/changelog.gz" |
            gzip -dc >"$work/changelog"
        [[ $(head -n 1 "$work/changelog") == "zel-processor ($(field "$package" Version))"* ]] ||
            complain "$package: the changelog is that of another version"
        # The same version of all: the libraries hold nothing back between them.
        own="libzel-processor0 (= $(field "$package" Version))"
        [[ $package == libzel-processor0 ]] || expect_field "$package" Depends "$own"
    done
    (($(find "$work/packages" -maxdepth 1 -name '*.deb' | wc -l) == 5)) || complain "there are other packages than the five"
    dpkg-deb --fsys-tarfile "$work"/packages/libzel-processor0_*.deb |
        tar -xO ./usr/share/doc/zel-processor/third-party.json >"$work/third-party.json"
    grep -q '"name":"SQLite","version":"3' "$work/third-party.json" || complain "the list of others' versions lacks SQLite"
    expect_field libzel-processor0 Depends libxml2
    expect_field libzel-processor0 Depends libc6
    expect_field zel-tools Depends libstdc++6
    expect_field zel-plugin-datastore Depends libsqlite3-0
    expect_field zel-plugin-script Depends "zel-tools (= $(field zel-plugin-script Version))"
    for package in zel-tools zel-plugin-datastore; do
        dpkg-deb -I "$work"/packages/"$package"_*.deb conffiles | grep '^/etc/' >/dev/null || complain "$package: no conffiles"
    done
    for package in postinst prerm postrm; do
        dpkg-deb -I "$work"/packages/zel-tools_*.deb "$package" | sh -n || complain "zel-tools: $package is no script"
    done
}

# What Debian's own check has to say. The tests' build was configured for another place than packages have, which is why
# one of its tags is not for it; scripts/package asks without exception.
check_lintian() {
    if ! command -v lintian >/dev/null; then
        echo "the packages were not checked: there is no lintian"
        return
    fi
    local said options=(--fail-on "error,warning" --suppress-tags pkg-config-unavailable-for-cross-compilation)
    [[ $(id -u) != 0 ]] || options+=(--allow-root)
    said=$(lintian "${options[@]}" "$work"/packages/*.deb 2>&1 </dev/null) || complain "lintian: $said"
    # It would have told of a package that lacks something: one without its changelog.
    dpkg-deb -R "$work"/packages/libzel-processor-dev_*.deb "$work/poor"
    rm "$work/poor/usr/share/doc/libzel-processor-dev/changelog.gz"
    logged poor dpkg-deb --root-owner-group -Zgzip -b "$work/poor" "$work/poor.deb"
    if said=$(lintian "${options[@]}" "$work/poor.deb" 2>&1 </dev/null); then
        complain "lintian accepts a package without a changelog: $said"
    fi
    [[ $said == *no-changelog* ]] || complain "lintian does not name what is missing: $said"
}

install_packages() { # root folder
    # As root the package manager itself does it, which refuses a file that two packages bring.
    if [[ $(id -u) == 0 ]]; then
        mkdir -p "$1/var/lib/dpkg/info" "$1/var/lib/dpkg/updates"
        touch "$1/var/lib/dpkg/status"
        logged dpkg dpkg --root="$1" --force-depends --unpack "$work"/packages/*.deb
        # Where there are no older ones, this is what its second step does with the settings.
        find "$1/etc" -name '*.dpkg-new' -exec bash -c 'mv -- "$1" "${1%.dpkg-new}"' _ {} \;
    else
        local package
        for package in "$work"/packages/*.deb; do
            dpkg-deb -x "$package" "$1"
        done
    fi
}

check_files() { # root folder
    local file manifest=$1/etc/zel-processor/components/zel_datastore.component unit=$1/usr/lib/systemd/system/zel-server.service
    for file in usr/bin/zel usr/bin/zel-server usr/bin/zel-regsvr usr/bin/zel-task-host etc/default/zel-server etc/zel-processor/zel-server.conf \
        usr/share/man/man1/zel.1.gz usr/share/man/man1/zel-regsvr.1.gz \
        usr/share/man/man8/zel-server.8.gz usr/share/bash-completion/completions/zel-server \
        usr/share/zsh/site-functions/_zel usr/share/fish/vendor_completions.d/zel.fish \
        usr/share/zel-processor/samples/demo.drq usr/share/zel-processor/samples/README.md; do
        [[ -e $1/$file ]] || complain "/$file is missing"
    done
    # The samples are loaded by what comes with them.
    logged load-samples "$1/usr/share/zel-processor/scripts/load-samples" "$work/loaded"
    [[ -s $work/loaded/birdstrikes.sqlite ]] || complain "the samples of the packages cannot be loaded"
    # The server looks into this folder by itself, so the path in it is the one on the installed system.
    file=$(sed -n 's|.*<module>\(/.*\)</module>.*|\1|p' "$manifest")
    [[ -n $file && -f $1$file ]] || complain "the manifest in /etc names '$file', which no package brings"
    if find "$1" -perm /022 ! -type l ! -path "$1/var/*" | grep .; then
        complain "others may write to these files, which the library refuses"
    fi
    if command -v systemd-analyze >/dev/null; then
        # With the program at the place where it is just now.
        sed "s|^ExecStart=|ExecStart=$1|" "$unit" >"$work/zel-server.service"
        logged verify systemd-analyze verify --man=no "$work/zel-server.service"
        [[ ! -s $work/verify.log ]] || complain "the unit is not clean: $(cat "$work/verify.log")"
        # In tenths of the points of systemd, of which ten are an unlimited service.
        logged security systemd-analyze security --no-pager --offline=true --threshold=19 "$work/zel-server.service"
        sed '/^ProtectSystem=/d; /^SystemCallFilter=/d; /^CapabilityBoundingSet=/d' "$work/zel-server.service" \
            >"$work/zel-loose.service"
        if systemd-analyze security --no-pager --offline=true --threshold=19 "$work/zel-loose.service" >/dev/null 2>&1; then
            complain "a unit without limits passes as well"
        fi
    else
        echo "the unit was not verified: there is no systemd-analyze"
    fi
}

write_request() {
    cat <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Request><Task Type="Query">
    <DataSource>earthquakes</DataSource>
    <Sql>select count(*) as found from earthquakes</Sql>
</Task></Request>
XML
}

try_programs() { # root folder
    local bin=$1/usr/bin line output code=0
    mkdir "$work/run"
    mkfifo "$work/ready"
    write_request >"$work/query.drq"
    "$bin/zel-server" --request-dir "$work/run/in" --output-dir "$work/run/out" --create-dirs \
        >"$work/ready" 2>"$work/server.log" </dev/null &
    server=$!
    exec {output}<"$work/ready"
    IFS= read -r -t 60 line <&"$output" || true
    if [[ $line != "zel-server: ready" ]]; then
        cat "$work/server.log"
        stop "the server of the packages did not start"
    fi
    # One list, in the package and in the program.
    [[ $("$bin/zel-server" --version --json) == *"$(tr -d '\n' <"$1/usr/share/doc/zel-processor/third-party.json")"* ]] ||
        complain "zel-server lists other versions than the package"
    logged send timeout 60 "$bin/zel" send "$work/query.drq" -o "$work/response.xml" \
        --request-dir "$work/run/in" --output-dir "$work/run/out"
    grep -q 1707 "$work/response.xml" || complain "not the expected response: $(cat "$work/response.xml")"
    # Its libraries are the ones that lie beside it, not those of a build folder or of this system.
    grep -o '/.*/libZEL_[A-Za-z]*\.so\.[0-9.]*' "/proc/$server/maps" | sort -u >"$work/maps"
    (($(wc -l <"$work/maps") == 2)) || complain "the server has these libraries: $(cat "$work/maps")"
    if grep -v "^$1/" "$work/maps"; then
        complain "the server does not use the libraries of the packages"
    fi
    kill -TERM "$server"
    wait "$server" || code=$?
    server=
    exec {output}<&-
    ((code == 0)) || complain "the server's exit code is $code"
}

# The calls that a unit's filter lets through, one per line.
allowed_calls() { # reads the values of SystemCallFilter
    local words word names
    : >"$work/allowed"
    while read -ra words; do
        if [[ ${words[0]} == '~'* ]]; then
            words[0]=${words[0]#'~'}
            names=$(for word in "${words[@]}"; do calls_of "$word"; done)
            grep -vxF -e "$names" "$work/allowed" >"$work/fewer"
            mv "$work/fewer" "$work/allowed"
        else
            for word in "${words[@]}"; do calls_of "$word"; done >>"$work/allowed"
        fi
    done
    cat "$work/allowed"
}
calls_of() { # call or group of them
    local name
    [[ $1 == @* ]] || { echo "$1"; return; }
    while read -r name; do
        calls_of "$name"
    done < <(systemd-analyze syscall-filter "$1" | sed -n 's/^ \{4\}\([^# ]\)/\1/p')
}

# There is no service manager here that would hold the server to the limits of its unit, so what it does with a request
# is written down and compared with them.
try_limits() { # root folder
    if ! command -v systemd-analyze >/dev/null || ! strace -o "$work/probe" true; then
        echo "the unit's limits were not tried: there is no systemd-analyze, or strace may not work here"
        return
    fi
    local line output unit=$1/usr/lib/systemd/system/zel-server.service denied
    mkdir "$work/limits"
    mkfifo "$work/limits/ready"
    strace -D -f -qq -e signal=none -o "$work/limits/calls" "$1/usr/bin/zel-server" --request-dir "$work/limits/in" \
        --output-dir "$work/limits/out" --create-dirs >"$work/limits/ready" 2>"$work/limits/log" </dev/null &
    server=$!
    exec {output}<"$work/limits/ready"
    IFS= read -r -t 60 line <&"$output" || true
    logged limits-send timeout 60 "$1/usr/bin/zel" send "$work/query.drq" -o "$work/limits/response.xml" \
        --request-dir "$work/limits/in" --output-dir "$work/limits/out"
    kill -TERM "$server"
    wait "$server" || complain "the server fails when it is watched"
    server=
    exec {output}<&-
    sed -nE 's/^[0-9]+ +([a-z0-9_]+)\(.*/\1/p' "$work/limits/calls" | sort -u >"$work/limits/names"
    sed -n 's/^SystemCallFilter=//p' "$unit" | allowed_calls | sort -u >"$work/limits/allowed"
    denied=$(comm -23 "$work/limits/names" "$work/limits/allowed" | tr '\n' ' ')
    [[ -z $denied ]] || complain "the unit forbids what the server calls: $denied"
    grep -qx openat "$work/limits/names" || complain "nothing was written down of the server's calls"
    echo @basic-io | allowed_calls | sort -u | comm -23 "$work/limits/names" - | grep -x openat >/dev/null ||
        complain "a filter that is too narrow is not noticed"
    if grep -E '(mmap|mprotect|pkey_mprotect)\(.*PROT_WRITE\|PROT_EXEC|mprotect\(.*PROT_EXEC' "$work/limits/calls"; then
        complain "the server needs memory that it writes and runs, which the unit forbids"
    fi
    if grep -E ' socket\(' "$work/limits/calls" | grep -v 'AF_UNIX'; then
        complain "the server uses sockets that the unit forbids"
    fi
}

# As on a user's machine, on a copy of this one that is thrown away: the package manager runs everything, the server runs
# as its own user with the rights that the unit gives it, and a member of its group sends it a request.
real_installation() { # inside the copy; folder with packages, data and request
    dpkg -i "$1"/packages/*.deb
    cp "$1"/data/*.sqlite /var/lib/zel-processor/data/
    chgrp zel /var/lib/zel-processor/data/*
    useradd -m -G zel zel-test-client
    cd /var/lib/zel-processor
    local line
    mkfifo "$1/real-ready"
    ZEL_DATA_DIR=$PWD/data setpriv --reuid zel --regid zel --init-groups --bounding-set -all,+lease --inh-caps +lease \
        --ambient-caps +lease sh -c 'umask 0007; exec zel-server --request-dir requests --output-dir output' \
        >"$1/real-ready" </dev/null &
    IFS= read -r -t 60 line <"$1/real-ready"
    [[ $line == "zel-server: ready" ]]
    setpriv --reuid zel-test-client --regid zel-test-client --init-groups timeout 60 \
        zel send "$1/query.drq" -o /home/zel-test-client --request-dir requests --output-dir output
    grep 1707 /home/zel-test-client/query.drq
    kill -TERM %1
    wait %1
    # An update where a server runs: nothing restarts it unasked, and a service manager in trouble is not in the way.
    mkdir -p /run/systemd/system
    # shellcheck disable=SC2016 # for the stand-in to expand
    printf '#!/bin/sh\necho "$*" >>%s\n[ "$2" = is-active ] && exit 0\nexit 1\n' "$1/systemctl.log" \
        >/usr/local/bin/systemctl
    chmod +x /usr/local/bin/systemctl
    dpkg -i "$1"/packages/zel-tools_*.deb | tee "$1/update.log"
    grep -q 'systemctl restart zel-server' "$1/update.log"
    [[ -s $1/systemctl.log && $(<"$1/systemctl.log") != *restart* ]]
    [[ $(dpkg-query -W -f '${Status}' zel-tools) == "install ok installed" ]]
    rm -r /usr/local/bin/systemctl /run/systemd/system
    dpkg -P zel-plugin-script zel-plugin-datastore zel-tools libzel-processor-dev libzel-processor0
    [[ ! -e /etc/zel-processor && ! -e /etc/default/zel-server && ! -e /usr/bin/zel ]]
    echo "installed, tried and removed"
}

check_real_installation() {
    if [[ $(id -u) != 0 ]]; then
        echo "maintainer scripts were not run: that takes root"
        return
    fi
    mkdir -p "$work/system" "$work/moved"
    cp -r "$work/packages" "$work/data" "$work/query.drq" "$work/moved/"
    rm -rf "$work/moved/packages/_CPack_Packages"
    chmod -R a+rX "$work/moved"
    local code=0
    # shellcheck disable=SC2016 # expanded by the inner shell
    unshare -m bash -euc '
        mount -t tmpfs tmpfs "$1/system"
        cd "$1/system"
        mkdir upper work root
        mount -t overlay overlay -o lowerdir=/,upperdir=upper,workdir=work root || exit 77
        mount --bind /dev root/dev
        mount --bind /proc root/proc
        cp -r "$1/moved" root/srv/zel-test
        exec chroot root bash -euo pipefail -c "$2; real_installation /srv/zel-test"' \
        _ "$work" "$(declare -f real_installation)" >"$work/real.log" 2>&1 </dev/null || code=$?
    if ((code == 77)); then
        echo "maintainer scripts were not run: this system can't be copied for it"
    elif ((code != 0)) || ! grep -q '^installed, tried and removed$' "$work/real.log"; then
        tail -n 40 "$work/real.log"
        complain "the packages fail when the package manager installs them, exit code $code"
    fi
}

check_debian() {
    # Packed lightly: what it takes to make them small is for those that are shipped.
    logged pack cpack --config "$build/CPackConfig.cmake" -B "$work/packages" -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip
    check_control
    check_lintian
    mkdir "$work/root"
    install_packages "$work/root"
    check_files "$work/root"
    try_programs "$work/root"
    try_limits "$work/root"
    check_real_installation
}

# A Windows program of the zip, with nothing of the build folder within reach.
on_windows() { # log program argument...
    local log=$1 program=$2
    shift 2
    timeout 120 "$root/cmake/wine-run" "$zip/bin/$program" "$@" >"$work/$log.log" 2>&1 </dev/null
}

check_windows() {
    local archive file
    logged pack-windows cpack --config "$mingw/CPackConfig.cmake" -B "$work/packages-windows"
    archive=$(find "$work/packages-windows" -maxdepth 1 -name '*-win64.zip')
    [[ -f $archive ]] || stop "no zip"
    mkdir "$work/zip"
    (cd -- "$work/zip" && cmake -E tar xf "$archive")
    zip=$(echo "$work"/zip/*)
    for file in bin/ZEL_Processor.dll bin/libstdc++-6.dll bin/plugins/zel_datastore.component bin/plugins/zel_script.component lib/libZEL_Processor.dll.a \
        include/ZEL_Processor/ZelProcessorClient.h share/doc/zel-processor/LICENSE \
        share/doc/zel-processor/third-party.json \
        share/doc/zel-processor/notices/mingw-w64-common.txt share/doc/zel-processor/notices/libsqlite3-dev.txt; do
        [[ -e $zip/$file ]] || complain "the zip has no $file"
    done
    export ZEL_WINE_BUILD=$mingw
    local in="Z:$work/win/in" out="Z:$work/win/out"
    on_windows version zel.exe --version || complain "zel.exe does not run: $(cat "$work/version.log")"
    mkdir -p "$work/win"
    write_request >"$work/win/query.drq"
    : >"$work/win-server.log" # the server makes it when it gets to run, and somebody reads it before
    ZEL_DATA_DIR="Z:$work/data" timeout 120 "$root/cmake/wine-run" "$zip/bin/zel-server.exe" --request-dir "$in" \
        --output-dir "$out" --create-dirs >"$work/win-server.log" 2>&1 </dev/null &
    server=$!
    wait_for_line "zel-server: ready" "$work/win-server.log"
    on_windows win-send zel.exe send "Z:$work/win/query.drq" -o "Z:$work/response-windows.xml" --request-dir "$in" \
        --output-dir "$out" || complain "the request fails: $(cat "$work/win-send.log" "$work/win-server.log")"
    grep -q 1707 "$work/response-windows.xml" || complain "not the expected response on Windows"
    WINEPREFIX=$ZEL_WINE_BUILD/wine wineserver -k || true
    wait "$server" || true # it was killed
    server=
}

# Through a file: a pipe would stay open as long as Wine's own server lives.
wait_for_line() { # line file
    local line lines
    exec {lines}< <(tail -n +1 -s 0.1 -f --pid="$server" -- "$2")
    while IFS= read -r -t 60 line <&"$lines"; do
        if [[ ${line%$'\r'} == "$1" ]]; then
            exec {lines}<&-
            return
        fi
    done
    cat "$2"
    stop "no line '$1'"
}

[[ -x $build/bin/zel-server ]] || stop "$build/bin/zel-server is missing: build first, or name the build folder in ZEL_BUILD_DIR"
logged samples "$root/scripts/load-samples" "$work/data"
export ZEL_DATA_DIR=$work/data
check_debian
if [[ -e $mingw/bin/ZEL_Processor.dll ]]; then
    check_windows
else
    echo "the zip was not tried: there is no $mingw"
fi
((failures == 0))
