#!/bin/bash
# What is installed is hardened, file by file, natively and for Windows when build/mingw is there; and a file that is not
# would be found: each protection is taken away from a program once.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
source "$(dirname -- "${BASH_SOURCE[0]}")/lib/hardening.sh"

cached() { # build folder, variable
    sed -n "s/^$2:[A-Z]*=//p" "$1/CMakeCache.txt"
}

# The compiler's own DLLs come as they are: Debian's have the marks of the linker, and no stack protector.
check_installed() { # build folder, name
    local prefix=$work/$2 file faults count=0 fortified=0
    if [[ $(cached "$1" ZEL_HARDENING) != ON ]]; then
        complain "$1 was configured without hardening"
    fi
    logged "install-$2" cmake --install "$1" --prefix "$prefix"
    while IFS= read -r file; do
        count=$((count + 1))
        faults=$(hardening_faults "$file" | sed 's/$/; /' | tr -d '\n')
        [[ -z $faults ]] || complain "${file#"$prefix/"}: $faults"
        [[ $(hardening_faults "$file" fortified) == *"no checked functions"* ]] || fortified=$((fortified + 1))
    done < <(find "$prefix" -type f \( -path '*/bin/*' -o -path '*/lib/*' \) -exec sh -c '
        for file; do case $(head -c 4 -- "$file" | od -An -tx1) in *7f\ 45\ 4c\ 46* | *4d\ 5a*) echo "$file" ;; esac; done' _ {} + |
        grep -Ev '/(libgcc_s_seh-1|libstdc\+\+-6|libwinpthread-1)\.dll$')
    ((count == 8)) || complain "$2: $count programs and libraries, not the eight that there are"
    # Not every file has a buffer that the compiler knows the size of.
    if [[ $(cached "$1" CMAKE_BUILD_TYPE) != Debug ]] && ((fortified == 0)); then
        complain "$2: optimised, but nothing calls checked functions"
    fi
}

probe() { # name, options of CMake...
    local name=$1
    shift
    logged "probe-$name" cmake -G Ninja -S "$root/tests/scripts/hardening" -B "$work/probe-$name" \
        -DCMAKE_BUILD_TYPE=Release "$@"
    logged "probe-$name" cmake --build "$work/probe-$name"
    hardening_faults "$(find "$work/probe-$name" -maxdepth 1 -name 'probe*' -type f -perm /100)" fortified
}

expect_fault() { # fault, name, options of CMake...
    local fault=$1 faults
    shift
    faults=$(probe "$@")
    [[ $faults == *"$fault"* ]] || complain "$1: not found is '$fault', but '$faults'"
}

check_finds_native() {
    local faults
    faults=$(probe sound)
    [[ -z $faults ]] || complain "an optimised program lacks: $faults"
    expect_fault "functions are bound late" lazy -DPROBE_LINK_OPTIONS=-Wl,-z,lazy
    expect_fault "no read-only relocations" norelro -DPROBE_LINK_OPTIONS=-Wl,-z,norelro
    expect_fault "not position independent" nopie '-DPROBE_OPTIONS=-fno-pie' '-DPROBE_LINK_OPTIONS=-no-pie'
    expect_fault "the stack is executable" execstack -DPROBE_LINK_OPTIONS=-Wl,-z,execstack
    expect_fault "a segment is writable and executable" rwx -DPROBE_OPTIONS=-DPROBE_WRITABLE_CODE
    expect_fault "no stack protector" unprotected -DPROBE_OPTIONS=-fno-stack-protector
    expect_fault "no checked functions" unfortified -DPROBE_OPTIONS=-U_FORTIFY_SOURCE
    [[ $(uname -m) != x86_64 ]] || expect_fault "jumps go anywhere" jumps -DPROBE_OPTIONS=-fcf-protection=none
    expect_fault "no stack protector" off -DZEL_HARDENING=OFF
}

check_finds_windows() {
    local faults windows=-DCMAKE_TOOLCHAIN_FILE=$root/cmake/mingw-w64-x86_64-posix.cmake
    faults=$(probe win "$windows")
    [[ -z $faults ]] || complain "an optimised program for Windows lacks: $faults"
    expect_fault "no HIGH_ENTROPY_VA" win-entropy "$windows" -DPROBE_LINK_OPTIONS=-Wl,--disable-high-entropy-va
    expect_fault "no DYNAMIC_BASE" win-base "$windows" -DPROBE_LINK_OPTIONS=-Wl,--disable-dynamicbase
    expect_fault "no NX_COMPAT" win-nx "$windows" -DPROBE_LINK_OPTIONS=-Wl,--disable-nxcompat
    expect_fault "no relocations" win-relocations "$windows" -DPROBE_LINK_OPTIONS=-Wl,--disable-reloc-section
    expect_fault "a section is writable and executable" win-rwx "$windows" -DPROBE_OPTIONS=-DPROBE_WRITABLE_CODE
    expect_fault "no stack protector" win-off "$windows" -DZEL_HARDENING=OFF
    expect_fault "no checked functions" win-unfortified "$windows" -DPROBE_OPTIONS=-U_FORTIFY_SOURCE
    expect_fault "needs a DLL" win-dll "$windows" -DZEL_HARDENING=OFF -DPROBE_OPTIONS=-fstack-protector-strong \
        -DPROBE_LINK_OPTIONS=-fstack-protector-strong
}

[[ -x $build/bin/zel-server || -x $build/bin/zel-server.exe ]] ||
    stop "$build/bin/zel-server is missing: build first, or name the build folder in ZEL_BUILD_DIR"
check_finds_native
check_installed "$build" native
if command -v x86_64-w64-mingw32-g++-posix >/dev/null && [[ -e $mingw/bin/ZEL_Processor.dll ]]; then
    check_finds_windows
    check_installed "$mingw" windows
else
    echo "not looked at for Windows: there is no $mingw"
fi
((failures == 0))
