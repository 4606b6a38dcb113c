#!/bin/bash
# The same sources give the same bytes in another folder: the library that everything else is built on, for both targets,
# against what is built already; and packing it twice gives the same archives. All of the packages are compared by
# scripts/package --check-reproducible, which takes as long as building everything twice.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
source "$root/scripts/lib/copy-sources.sh"
# Or the second build could be the first one. A cache that makes paths relative changes what the compiler is given, so
# it has to do so for both, and compile nevertheless.
if [[ -n ${CCACHE_BASEDIR-} ]]; then
    export CCACHE_BASEDIR=$work CCACHE_RECACHE=1
else
    export CCACHE_DISABLE=1
fi

other=$work/somewhere/else # of another length, too

# With the settings of the first one that the compiler gets to know.
build_again() { # build folder, option of CMake...
    local preset=${1##*/}
    local again=$other/build/$preset build_folder=$1
    shift
    logged "configure-$preset" cmake -S "$other" --preset "$preset" -DZEL_BUILD_TESTS=OFF \
        -DCMAKE_CXX_FLAGS="$(sed -n 's/^CMAKE_CXX_FLAGS:STRING=//p' "$build_folder/CMakeCache.txt")" "$@"
    logged "build-$preset" cmake --build "$again" -j "$(nproc)" --target ZEL_Framework
}

compare() { # build folder, file...
    local folder=$1 again=$other/build/${1##*/} file
    shift
    for file; do
        cmp "$folder/$file" "$again/$file" || complain "$file of ${folder##*/} differs when it is built elsewhere"
        # Or it could have been made the same by chance of the place: no file may know one.
        ! grep -aqF -e "$root/" -e "$other/" "$folder/$file" || complain "$file of ${folder##*/} knows where it was built"
    done
}

# At another time: what is packed is written anew, and dated anew.
check_packing() { # build folder, pattern
    local log=${1##*/} first=$work/first-${1##*/} second=$work/second-${1##*/} file count=0
    logged "pack-$log" cpack --config "$1/CPackConfig.cmake" -B "$first" -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip
    logged "again-$log" cpack --config "$1/CPackConfig.cmake" -B "$second" -D CPACK_DEBIAN_COMPRESSION_TYPE=gzip
    for file in "$first"/$2; do
        count=$((count + 1))
        cmp "$file" "$second/${file##*/}" || complain "${file##*/} differs when it is packed again"
    done
    if ((count == 0)) || [[ ! -e $file ]]; then
        complain "nothing was packed of $log"
    fi
}

[[ -e $build/bin/libZEL_Framework.so ]] || stop "there is nothing in $build: build first, or name the build folder in ZEL_BUILD_DIR"
copy_sources "$root" "$other"
build_again "$build"
compare "$build" bin/libZEL_Framework.so lib/libzel_system_texts.a
check_packing "$build" '*.deb'
if [[ -e $mingw/bin/ZEL_Framework.dll ]]; then
    build_again "$mingw" -DZEL_SQLITE_SOURCE_DIR="$root/build/sources/sqlite3/amalgamation"
    compare "$mingw" bin/ZEL_Framework.dll lib/libZEL_Framework.dll.a
    check_packing "$mingw" '*.zip'
else
    echo "not tried for Windows: there is no $mingw"
fi
((failures == 0))
