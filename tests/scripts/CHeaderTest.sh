#!/bin/bash
# The headers of the C interface are C99, C17 and C++20 to every compiler that is here, need no other header than two of
# the compiler, and declare what the library exports for C, all of it. The programs that the page shows compile.
# shellcheck disable=SC2016 # quoted backticks are those of the page
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
flags=(-Wall -Wextra -Wpedantic -Wconversion -Wstrict-prototypes -Werror -fsyntax-only -I "$root/inc")
compilers=0

try_compiler() { # compiler
    command -v "$1" >/dev/null || { echo "not tried: there is no $1"; return; }
    compilers=$((compilers + 1))
    for header in zel.h zel_server.h; do
        for standard in c99 c17; do
            echo "#include <ZEL_Processor/$header>" | "$1" -x c "-std=$standard" "${flags[@]}" - ||
                complain "$1: $header is no $standard"
        done
        echo "#include <ZEL_Processor/$header>" | "$1" -x c++ -std=c++20 "${flags[@]/-Wstrict-prototypes/-Wall}" - ||
            complain "$1: $header is no C++20"
    done
    sed -n '/^```c$/,/^```$/{/^```/!p}' "$root/docs/c-interface.md" >"$work/page.c"
    "$1" -std=c99 "${flags[@]}" "$work/page.c" || complain "$1: the program of the page does not compile"
    "$1" -std=c99 "${flags[@]}" "$root/examples/client-c/main.c" || complain "$1: the example does not compile"
}

check_includes() {
    local includes
    includes=$(grep -h '^#include' "$root"/inc/ZEL_Processor/zel{,_server}.h | sort -u)
    [[ $includes == $'#include "ZEL_Processor/zel.h"\n#include <stddef.h>\n#include <stdint.h>' ]] ||
        complain "the headers include something else: $includes"
}

check_exports() {
    local declared exported
    declared=$(sed -n 's/^ZEL_C_API .*\b\(zel_[a-z_]*\)(.*/\1/p' "$root"/inc/ZEL_Processor/zel{,_server}.h | LC_ALL=C sort)
    (($(wc -l <<<"$declared") > 40)) || complain "hardly any functions found: the search for them is broken"
    for system in linux windows; do
        exported=$(grep -x 'zel_[a-z_]*' "$root/Kernel/ZEL_Processor/ZEL_Processor/module/exports.$system.txt")
        [[ $declared == "$exported" ]] || complain "not declared as exported for $system: $(diff <(echo "$declared") <(echo "$exported"))"
    done
}

for compiler in gcc clang-14 x86_64-w64-mingw32-gcc-posix; do
    try_compiler "$compiler"
done
((compilers > 0)) || complain "no compiler was found"
check_includes
check_exports
((failures == 0))
