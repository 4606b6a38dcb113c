#!/bin/bash
# Programs that were linked with a version of the libraries must find everything again in the next one. What they may
# have linked with is listed in exports.linux.txt and exports.windows.txt, beside the sources of each library.
#   ExportsTest.sh             fails when one of them is exported no longer; names new ones
#   ExportsTest.sh --update    writes the lists anew: in the commit that adds exports, or takes some away on purpose
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
build=${ZEL_BUILD_DIR:-$root/build/debug}
mingw=$root/build/mingw
mode=${1-}
failures=0

# Demangled and with short names for texts. The two or three entries of one constructor become one. What the compiler
# generates from the templates and inline functions of others is no promise.
readable() {
    c++filt | sed 's/std::__cxx11::basic_string<\(wchar_t\|char\), std::char_traits<\1>, std::allocator<\1> >/std::\1 string/g
        s/std::wchar_t string/std::wstring/g; s/std::char string/std::string/g; s/\[abi:cxx11\]//g' |
        grep -vE '^(typeinfo name|guard variable) for |^((vtable|typeinfo) for )?(std|fmt|spdlog|__gnu_cxx)::' |
        LC_ALL=C sort -u
}

exported_linux() { # library
    # Inline functions (W, u) come and go with the compiler's options; virtual tables (V) are needed by derived classes.
    nm -D --defined-only "$1" | awk '$2 ~ /^[TDBRV]$/ { print $3 }' | readable
}
exported_windows() { # library
    x86_64-w64-mingw32-objdump -p "$1" | awk '/^\[Ordinal\/Name Pointer\] Table/ { found = 1; next }
        /^$/ { found = 0 } found { print $NF }' | readable
}

compare() { # what library list
    local exported lost added
    exported=$("exported_$1" "$2")
    if (($(wc -l <<<"$exported") < 50)); then
        echo "$2: hardly any exports found: the search for them is broken"
        failures=$((failures + 1))
        return
    fi
    if [[ $mode == --update ]]; then
        echo "$exported" >"$3"
        return
    fi
    lost=$(LC_ALL=C comm -13 <(echo "$exported") "$3")
    added=$(LC_ALL=C comm -23 <(echo "$exported") "$3")
    if [[ -n $lost ]]; then
        sed "s|^|no longer exported by ${2##*/}: |" <<<"$lost"
        failures=$((failures + 1))
    fi
    if [[ -n $added ]]; then
        sed "s|^|new in ${2##*/}: |" <<<"$added"
        echo "to list them: tests/scripts/ExportsTest.sh --update"
    fi
}

[[ -z $mode || $mode == --update ]] || { sed -n '2,5s/^# //p' "${BASH_SOURCE[0]}" >&2; exit 2; }
library=$root/Kernel/ZEL_Processor/ZEL_Processor/module
framework=$root/framework
compare linux "$build/bin/libZEL_Processor.so" "$library/exports.linux.txt"
compare linux "$build/bin/libZEL_Framework.so" "$framework/exports.linux.txt"
if [[ -e $mingw/bin/ZEL_Processor.dll ]]; then
    compare windows "$mingw/bin/ZEL_Processor.dll" "$library/exports.windows.txt"
    compare windows "$mingw/bin/ZEL_Framework.dll" "$framework/exports.windows.txt"
else
    echo "not tried for Windows: there is no $mingw"
fi
((failures == 0))
