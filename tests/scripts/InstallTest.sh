#!/bin/bash
# What "cmake --install" lays out is all that a stranger needs: each header compiles alone, a program outside the tree
# finds the library through CMake and through pkg-config and serves itself a request, wherever the installation lies.
# The same for Windows, under Wine, when build/mingw is there.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"

# Exactly the headers that those reach, and nothing that the compiler finds elsewhere.
check_closure() { # prefix compiler
    local include=$1/include reached installed
    sed -n '/^#/!s/.*/#include <&>/p' "$root/cmake/PublicHeaders.txt" >"$work/all.cpp"
    reached=$("$2" -std=c++20 -MM -I "$include" -I "$include/ZEL_Processor/base" "$work/all.cpp" |
        tr -d '\134' | tr ' ' '\n' | grep -F "$include/" | sort -u)
    installed=$(find "$include" -type f | sort)
    if [[ $reached != "$installed" ]]; then
        diff <(echo "$reached") <(echo "$installed") | sed -n 's/^> /installed, but no public header reaches it: /p
            s/^< /reached, but not installed: /p'
        complain "the installed headers are not those that the public ones reach"
    fi
    (($(wc -l <<<"$installed") > 40)) || complain "hardly any headers are installed"
}

check_headers_alone() { # prefix
    local flags=(-std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
        -I "$1/include" -I "$1/include/ZEL_Processor/base")
    # shellcheck disable=SC2016 # expanded by the inner shell
    (cd -- "$1/include" && find . -name '*.h*' ! -path './ZEL_Processor/base/*' -printf '%P\n' &&
        cd ZEL_Processor/base && find . -name '*.h*' -printf '%P\n') |
        xargs -P "$(nproc)" -I '{}' bash -c '
            echo "#include <$1>" | g++ "${@:2}" -fsyntax-only -x c++ - || { echo "does not compile alone: $1"; exit 1; }' \
            _ '{}' "${flags[@]}" || complain "not every installed header compiles alone"
}

# Nothing in it may name the place where it was built or installed.
check_run_paths() { # prefix
    local file path count=0
    while IFS= read -r file; do
        path=$({ readelf -d "$file" 2>/dev/null || true; } | sed -n 's/.*R[UN]*PATH).*\[\(.*\)\]/\1/p')
        [[ -n $path ]] || continue
        count=$((count + 1))
        # shellcheck disable=SC2016 # the loader expands it
        [[ $path == '$ORIGIN'* && $path != *:* ]] || complain "$file: run path $path"
    done < <(find "$1/bin" "$1/lib" -type f)
    ((count >= 5)) || complain "only $count files with a run path"
    if grep -rIlF -e "$root" -e "$1" "$1" --exclude-dir=doc; then
        complain "these installed texts name a folder of this machine"
    fi
}

prepare_request() { # folder
    mkdir -p "$1/requests" "$1/output"
    cat >"$1/query.drq" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Request><Task Type="Query">
    <DataSource>earthquakes</DataSource>
    <Sql>select count(*) as found from earthquakes</Sql>
</Task></Request>
XML
}
check_response() { # folder what
    grep -q 1707 "$1/response.xml" || complain "$2: not the expected response: $(cat "$1/response.xml")"
}

run_consumer() { # name program plugins
    prepare_request "$work/$1"
    logged "$1" timeout 60 "$2" "$3" "$work/$1"
    check_response "$work/$1" "$1"
}

check_version() { # prefix
    local version
    version=$("$1/bin/zel" --version)
    [[ $version == "zel $(PKG_CONFIG_PATH=$(echo "$1"/lib*/pkgconfig) pkg-config --modversion zel_processor)" ]] ||
        complain "the program and zel_processor.pc differ in their version"
    [[ -L $1/lib/libZEL_Processor.so && -L $1/lib/libZEL_Processor.so.0 && -L $1/lib/libZEL_Framework.so.0 ]] ||
        complain "the libraries have no versioned names"
    # A program for another interface must not get this one.
    mkdir -p "$work/other"
    cat >"$work/other/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(other LANGUAGES CXX)
find_package(ZEL_Processor 0.999 QUIET)
if(ZEL_Processor_FOUND OR NOT ZEL_Processor_CONSIDERED_VERSIONS)
    message(FATAL_ERROR "version ${ZEL_Processor_VERSION} was accepted for 0.999")
endif()
CMAKE
    logged other cmake -G Ninja -S "$work/other" -B "$work/other/build" -DCMAKE_PREFIX_PATH="$1"
}

check_native() {
    logged install cmake --install "$build" --prefix "$work/first"
    # Nothing may depend on where it was installed.
    mv "$work/first" "$work/moved"
    local prefix=$work/moved plugins=$work/moved/lib/zel-processor/plugins flags
    check_closure "$prefix" g++
    check_headers_alone "$prefix"
    check_run_paths "$prefix"
    check_version "$prefix"

    logged configure cmake -G Ninja -S "$root/tests/scripts/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix"
    logged build cmake --build "$work/consumer"
    run_consumer cmake-consumer "$work/consumer/consumer" "$plugins"

    read -ra flags < <(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs zel_processor)
    logged pkg-config g++ -std=c++20 -o "$work/consumer-pc" "$root/tests/scripts/consumer/Main.cpp" "${flags[@]}"
    LD_LIBRARY_PATH=$prefix/lib run_consumer pc-consumer "$work/consumer-pc" "$plugins"
}

check_windows() {
    local prefix=$work/windows
    logged install-windows cmake --install "$mingw" --prefix "$prefix"
    check_closure "$prefix" x86_64-w64-mingw32-g++-posix
    logged configure-windows cmake -G Ninja -S "$root/tests/scripts/consumer" -B "$work/consumer-windows" \
        -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix -DCMAKE_PREFIX_PATH="$prefix"
    logged build-windows cmake --build "$work/consumer-windows"
    # Beside the DLLs, as a program is shipped; those of the build folder are out of reach.
    mv "$work/consumer-windows/consumer.exe" "$prefix/bin/"
    prepare_request "$work/on-windows"
    export ZEL_WINE_BUILD=$mingw
    ZEL_DATA_DIR="Z:${work//\//\\}\\data" logged wine timeout 120 "$root/cmake/wine-run" "$prefix/bin/consumer.exe" \
        "Z:$prefix/bin/plugins" "Z:$work/on-windows"
    check_response "$work/on-windows" "under Wine"
}

[[ -x $build/bin/zel-server ]] || stop "$build/bin/zel-server is missing: build first, or name the build folder in ZEL_BUILD_DIR"
logged samples "$root/scripts/load-samples" "$work/data"
export ZEL_DATA_DIR=$work/data
check_native
if [[ -e $mingw/bin/ZEL_Processor.dll ]]; then
    check_windows
else
    echo "not tried for Windows: there is no $mingw"
fi
((failures == 0))
