#!/bin/bash
# The tour for application developers is what a newcomer copies: each piece of C++ on the page compiles as it stands
# against an installed copy, for both systems; the first one, and the program of all the others, are built and run by
# the page's own commands and print what the page shows: from the packages, on a copy of this system, or without root
# from the installed copy.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
source "$root/tests/scripts/lib/copy.sh"
source "$root/tests/scripts/lib/tour.sh"
page=$root/docs/tour-application.md

# The blocks of one language, each in a file: FOLDER/1, FOLDER/2 …
take_blocks() { # language folder
    mkdir -p "$2"
    awk -v language="$1" -v folder="$2" '
        /^```/ { inside = !inside && $0 == "```" language; if (inside) ++count; next }
        inside { print > (folder "/" count) }' "$page"
}

# Those of C++ under the names that the page gives them: at the end of the line above.
take_pieces() { # folder
    mkdir -p "$1"
    awk -v folder="$1" '
        /^```/ { inside = !inside && $0 == "```cpp"; if (inside) ++count; else name = ""
            if (inside && name == "") { print "piece " count " of C++ has no name"; exit 1 }
            next }
        inside { print > (folder "/" name); next }
        /`[A-Za-z]+[.](h|cpp)`:$/ { name = $0; sub(/`:$/, "", name); sub(/.*`/, "", name); next }
        NF { name = "" }' "$page" || stop "the pieces of C++ cannot be told apart"
}

compile_blocks() { # compiler prefix option...
    local compiler=$1 include=$2/include block count=0
    shift 2
    for block in "$work"/cpp/*; do
        count=$((count + 1))
        "$compiler" -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fsyntax-only "$@" \
            -I "$include" -I "$include/ZEL_Processor/base" -x c++ "$block" ||
            complain "${block##*/} does not compile with $compiler"
    done
    ((count >= 9)) || stop "only $count pieces of C++ found: the search for them is broken"
}

# What the page builds and runs at its end: every other piece. It waits for a change of the data once its two listeners
# are registered, as a reader sees by its missing last line.
run_pieces() {
    local process tries code=0
    cat "$work/cmake/2" >>"$work/tour/CMakeLists.txt"
    cp "$work"/cpp/* "$work/tour"
    (cd "$work/tour" && exec timeout 300 bash -eu "$work/sh/3") >"$work/pieces.txt" 2>&1 </dev/null &
    process=$!
    for ((tries = 0; tries < 3000; ++tries)); do
        (($(find "$work/tour/out" -maxdepth 1 -name 'DsEvents_*' | wc -l) < 2)) || break
        kill -0 "$process" 2>/dev/null || break
        sleep 0.1
    done
    (cd "$work/tour" && bash -eu "$work/sh/4") || complain "the data cannot be changed as the page says"
    wait "$process" || code=$?
    ((code == 0)) || complain "the program of all pieces ends with $code"
    tail -n "$(wc -l <"$work/text/2")" "$work/pieces.txt" >"$work/printed.txt"
    tour_prints "$work/text/2" "$work/printed.txt" ||
        complain "the page shows something else than what all pieces print: $(cat "$work/pieces.txt")"
}

# Every piece that is run here, and nothing else, stands between these.
run_page() { # prefix
    local output tries
    mkdir "$work/tour"
    cp "$work/cmake/1" "$work/tour/CMakeLists.txt"
    cp "$work/cpp/Main.cpp" "$work/tour"
    sed -i "s|/usr/share|$1/share|" "$work"/sh/*
    # What the page starts in a terminal of its own.
    grep -q ' zel-server ' "$work/sh/1" || stop "the page starts no server"
    sed -i 's/^\(ZEL_DATA_DIR=[^ ]*\) zel-server /\1 exec zel-server /' "$work/sh/1"
    export PATH=$1/bin:$PATH CMAKE_PREFIX_PATH=$1 CMAKE_GENERATOR=Ninja
    : >"$work/server.txt"
    (cd "$work/tour" && exec bash -eu "$work/sh/1") >"$work/server.txt" 2>&1 </dev/null &
    server=$!
    for ((tries = 0; tries < 1200; ++tries)); do
        ! grep -q '^zel-server: ready' "$work/server.txt" || break
        kill -0 "$server" 2>/dev/null || break
        sleep 0.1
    done
    grep -q '^zel-server: ready' "$work/server.txt" || stop "no server: $(cat "$work/server.txt")"
    output=$(cd "$work/tour" && timeout 300 bash -eu "$work/sh/2" 2>"$work/errors.txt") ||
        stop "the page's commands fail: $output $(cat "$work/errors.txt")"
    [[ $(tail -n "$(wc -l <"$work/text/1")" <<<"$output") == "$(cat "$work/text/1")" ]] ||
        complain "the page shows '$(cat "$work/text/1")', and printed is: $output"
    run_pieces
    [[ -z $(find "$work/tour/in" "$work/tour/out" -type f ! -path '*/.zel-server/*' ! -name '.*') ]] ||
        complain "files are left: $(find "$work/tour/in" "$work/tour/out" -type f)"

    # A failure is told by the program's own line, and by nothing else.
    kill -TERM "$server"
    wait "$server" || complain "the server ends with $?: $(cat "$work/server.txt")"
    server=
    rm -r "$work/tour/in"
    if (cd "$work/tour" && timeout 60 build/my_application/my_application) >"$work/failed.txt" 2>&1; then
        complain "without a request directory the program succeeds"
    fi
    [[ $(wc -l <"$work/failed.txt") == 1 && $(<"$work/failed.txt") == "not sent: "*"/in/"* ]] ||
        complain "not one line with the reason: $(cat "$work/failed.txt")"
}

# Inside the copy.
follow_installed() {
    work=/srv/zel-tour server='' failures=0
    dpkg -i "$work"/build/packages/*.deb >/dev/null
    run_page /usr
    ((failures == 0))
}

follow_page() {
    local code=77
    if [[ $(id -u) == 0 ]]; then
        mkdir -p "$work/moved"
        cp -r "$work"/{cmake,cpp,sh,text} "$work/moved"
        make_packages
        code=0
        in_copy "$(declare -f follow_installed run_page run_pieces tour_prints complain stop)
            follow_installed" >"$work/copy.log" 2>&1 </dev/null || code=$?
    fi
    if ((code == 77)); then
        echo "not followed from the packages: that takes root and a system that can be copied"
        run_page "$work/prefix"
    elif ((code != 0)); then
        cat "$work/copy.log"
        complain "the page does not say what happens with the packages, exit code $code"
    fi
}

if ! command -v sqlite3 >/dev/null; then
    echo "the tour was not followed: there is no sqlite3, which changes the data"
    exit 77
fi
for language in cmake sh text; do
    take_blocks "$language" "$work/$language"
done
take_pieces "$work/cpp"
logged install cmake --install "$build" --prefix "$work/prefix"
compile_blocks g++ "$work/prefix"
if command -v clang++-14 >/dev/null; then
    compile_blocks clang++-14 "$work/prefix"
fi
follow_page
if [[ -e $mingw/bin/ZEL_Processor.dll ]]; then
    logged install-windows cmake --install "$mingw" --prefix "$work/windows"
    compile_blocks x86_64-w64-mingw32-g++-posix "$work/windows" -DUNICODE -D_UNICODE -DNOMINMAX -D_WIN32_WINNT=0x0A00
else
    echo "not tried for Windows: there is no $mingw"
fi
((failures == 0))
