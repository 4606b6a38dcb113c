#!/bin/bash
# The examples build outside the tree against an installed copy and work together: the client hands a request to the
# host, which runs it in the plug-in when it is told to. The plug-in does the same in the Windows server under Wine, when
# build/mingw is there, and for a program of another compiler.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
wait_for() { # text file
    local tries
    for ((tries = 0; tries < 600; ++tries)); do
        ! grep -qF -- "$1" "$2" 2>/dev/null || return 0
        sleep 0.1
    done
    cat "$2"
    stop "'$1' did not come"
}
build_example() { # name prefix options...
    local name=$1 prefix=$2
    shift 2
    logged "configure-$name" cmake -G Ninja -S "$root/examples/$name" -B "$work/build/$name" -DCMAKE_PREFIX_PATH="$prefix" "$@"
    # A server that looks into the folder by now must not find a manifest without its module.
    [[ ! -e $work/build/$name/hello.component ]] || complain "$name: the manifest is there before the module"
    logged "build-$name" cmake --build "$work/build/$name"
    [[ $name != plugin-hello || -e $work/build/$name/hello.component ]] || complain "$name: no manifest beside the module"
}

try_native() {
    local prefix=$work/native plugins=$work/build/plugin-hello code=0
    logged install cmake --install "$build" --prefix "$prefix"
    for name in plugin-hello host client client-c plain-loop; do
        build_example "$name" "$prefix"
    done
    mkdir -p "$work/requests" "$work/output" "$work/home"
    cp "$root/examples/plugin-hello/hello.drq" "$work/home/"
    mkfifo "$work/steps"
    "$work/build/host/host" "$plugins" "$work/requests" "$work/output" <"$work/steps" >"$work/host.txt" 2>&1 &
    server=$!
    exec 7>"$work/steps"
    wait_for ready "$work/host.txt"

    timeout 60 "$work/build/client/client" "$work/requests" "$work/output" "$work/home/hello.drq" \
        "$work/home/hello.xml" >"$work/client.txt" 2>&1 &
    local client=$!
    wait_for "Waiting in the queue" "$work/client.txt"
    echo step >&7
    wait "$client" || code=$?
    ((code == 0)) || stop "the client ended with $code: $(cat "$work/client.txt")"
    grep -qF '<Greeting>Hello, Ada</Greeting>' "$work/home/hello.xml" || stop "not the response: $(cat "$work/home/hello.xml")"
    wait_for "request done" "$work/host.txt"
    # The same from C.
    code=0
    timeout 60 "$work/build/client-c/client-c" "$work/requests" "$work/output" "$work/home/hello.drq" \
        "$work/home/hello-c.xml" >"$work/client-c.txt" 2>&1 &
    client=$!
    wait_for "hello.drq: waiting" "$work/client-c.txt"
    echo step >&7
    wait "$client" || code=$?
    ((code == 0)) || stop "the client in C ended with $code: $(cat "$work/client-c.txt")"
    grep -qF 'hello.drq: done' "$work/client-c.txt" || stop "no end was shown: $(cat "$work/client-c.txt")"
    cmp "$work/home/hello.xml" "$work/home/hello-c.xml" || stop "the client in C got another response"
    # A loop of any kind sees it go its way.
    ZEL_REQUEST_DIR=$work/requests ZEL_OUTPUT_DIR=$work/output logged send "$build/bin/zel" send -q "$work/home/hello.drq"
    timeout 60 "$work/build/plain-loop/plain-loop" "$work/requests" "$work/output" hello.drq >"$work/loop.txt" 2>&1 &
    client=$!
    wait_for "hello.drq: waiting" "$work/loop.txt"
    echo step >&7
    code=0
    wait "$client" || code=$?
    ((code == 0)) || stop "the loop ended with $code: $(cat "$work/loop.txt")"
    grep -qxE 'hello.drq: done( 100 %)?' "$work/loop.txt" || stop "the loop saw no end: $(cat "$work/loop.txt")"
    [[ -z $(sort "$work/loop.txt" | uniq -d) ]] || stop "the loop shows what did not change: $(cat "$work/loop.txt")"
    ZEL_REQUEST_DIR=$work/requests ZEL_OUTPUT_DIR=$work/output logged receive "$build/bin/zel" receive hello.drq "$work/home/loop.xml"
    code=0
    timeout 60 "$work/build/plain-loop/plain-loop" "$work/requests" "$work/output" hello.drq >"$work/loop.txt" 2>&1 || code=$?
    ((code == 1)) || stop "the loop took an unknown request for one that is done: $(cat "$work/loop.txt")"
    # An interrupt cancels it: this host, which keeps to the protocol alone, forgets one that waits.
    timeout --foreground 60 "$work/build/client-c/client-c" "$work/requests" "$work/output" "$work/home/hello.drq" \
        "$work/home/canceled.xml" >"$work/canceled.txt" 2>&1 &
    client=$!
    wait_for "hello.drq: waiting" "$work/canceled.txt"
    kill -INT "$client"
    code=0
    wait "$client" || code=$?
    ((code == 1)) || stop "the interrupted client ended with $code: $(cat "$work/canceled.txt")"
    grep -qF 'hello.drq: not-requested' "$work/canceled.txt" || stop "not cancelled: $(cat "$work/canceled.txt")"
    # It does not wait for ever for a server that is not there, nor after a second interrupt.
    mkdir "$work/nobody" "$work/nothing"
    code=0
    timeout 60 "$work/build/client-c/client-c" "$work/nobody" "$work/nothing" "$work/home/hello.drq" \
        "$work/home/nothing.xml" 1 >"$work/nobody.txt" 2>&1 || code=$?
    ((code == 1)) || stop "the client without a server ended with $code: $(cat "$work/nobody.txt")"
    grep -qF 'No server is there' "$work/nobody.txt" || stop "not for want of a server: $(cat "$work/nobody.txt")"
    rm "$work/nobody/hello.drq"
    "$work/build/client-c/client-c" "$work/nobody" "$work/nothing" "$work/home/hello.drq" "$work/home/nothing.xml" 60 \
        >"$work/twice.txt" 2>&1 &
    client=$!
    wait_for "hello.drq: waiting" "$work/twice.txt"
    while kill -INT "$client" 2>/dev/null; do sleep 0.1; done
    code=0
    wait "$client" || code=$?
    ((code == 130)) || stop "the client that was interrupted twice ended with $code: $(cat "$work/twice.txt")"
    # The host shows boxes in its own way.
    echo '<Command Type="Dance"><RequestName>x</RequestName></Command>' >"$work/home/dance.command"
    mv "$work/home/dance.command" "$work/requests/"
    wait_for "box: Processing of command" "$work/host.txt"
    exec 7>&-
    wait "$server" || stop "the host did not end well: $(cat "$work/host.txt")"
    server=
}

try_windows() {
    local prefix=$work/windows
    logged install-windows cmake --install "$mingw" --prefix "$prefix"
    rm -rf "$work/build"
    for name in plugin-hello host client client-c plain-loop; do
        build_example "$name" "$prefix" -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix \
            -DCMAKE_C_COMPILER=x86_64-w64-mingw32-gcc-posix
    done
    mkdir -p "$work/wine-requests" "$work/wine-output"
    export ZEL_WINE_BUILD=$mingw
    ZEL_WINE_OUTPUT=$work/server.txt timeout 120 "$root/cmake/wine-run" "$prefix/bin/zel-server.exe" \
        --request-dir "Z:$work/wine-requests" --output-dir "Z:$work/wine-output" \
        --components "Z:$work/build/plugin-hello" >/dev/null 2>&1 </dev/null &
    wait_for "zel-server: ready" "$work/server.txt"
    cp "$root/examples/plugin-hello/hello.drq" "$work/home/"
    cp "$work/build/client/client.exe" "$work/build/client-c/client-c.exe" "$prefix/bin/"
    logged wine-client env ZEL_WINE_OUTPUT="$work/wine-client.txt" timeout 60 "$root/cmake/wine-run" \
        "$prefix/bin/client.exe" "Z:$work/wine-requests" "Z:$work/wine-output" "Z:$work/home/hello.drq" "Z:$work/home/wine.xml"
    grep -qF '<Greeting>Hello, Ada</Greeting>' "$work/home/wine.xml" || stop "not the response: $(cat "$work/home/wine.xml")"
    logged wine-client-c env ZEL_WINE_OUTPUT="$work/wine-client-c.txt" timeout 60 "$root/cmake/wine-run" \
        "$prefix/bin/client-c.exe" "Z:$work/wine-requests" "Z:$work/wine-output" "Z:$work/home/hello.drq" "Z:$work/home/wine-c.xml"
    cmp "$work/home/wine.xml" "$work/home/wine-c.xml" || stop "the client in C got another response"
    cp "$work/build/plain-loop/plain-loop.exe" "$prefix/bin/"
    cp "$work/home/hello.drq" "$work/wine-requests/loop.drq"
    logged wine-loop env ZEL_WINE_OUTPUT="$work/wine-loop.txt" timeout 60 "$root/cmake/wine-run" \
        "$prefix/bin/plain-loop.exe" "Z:$work/wine-requests" "Z:$work/wine-output" loop.drq
    grep -qE 'loop.drq: done' "$work/wine-loop.txt" || stop "the loop saw no end: $(cat "$work/wine-loop.txt")"
    try_foreign "$prefix"
}

# A program of the platform's own binary interface, with its linker, and no C runtime at all.
try_foreign() { # prefix
    local tool
    for tool in clang-14 lld-link-14 llvm-dlltool-14; do
        command -v "$tool" >/dev/null || { echo "not tried with a foreign compiler: there is no $tool"; return; }
    done
    printf 'LIBRARY kernel32.dll\nEXPORTS\n%s\n' "ExitProcess"$'\n'"GetEnvironmentVariableA"$'\n'"GetStdHandle"$'\n'"WriteFile" \
        >"$work/kernel32.def"
    logged foreign-kernel llvm-dlltool-14 -m i386:x86-64 -d "$work/kernel32.def" -l "$work/kernel32.lib"
    logged foreign-compile clang-14 --target=x86_64-pc-windows-msvc -std=c99 -Wall -Wextra -Wpedantic -Werror -O1 \
        -ffreestanding -I "$1/include" -c "$root/tests/scripts/foreign/main.c" -o "$work/foreign.obj"
    logged foreign-link lld-link-14 /nodefaultlib /entry:mainCRTStartup /subsystem:console "/out:$1/bin/foreign.exe" \
        "$work/foreign.obj" "$1/lib/ZEL_Processor.lib" "$work/kernel32.lib"
    # What the platform's librarian makes of the definition is the same.
    logged foreign-definition llvm-dlltool-14 -m i386:x86-64 -d "$1/lib/ZEL_Processor.def" -l "$work/again.lib"
    cmp "$1/lib/ZEL_Processor.lib" "$work/again.lib" || complain "ZEL_Processor.lib is not that of ZEL_Processor.def"
    logged foreign env FOREIGN_REQUESTS="Z:$work/wine-requests" FOREIGN_OUTPUT="Z:$work/wine-output" \
        ZEL_WINE_OUTPUT="$work/foreign.txt" timeout 60 "$root/cmake/wine-run" "$1/bin/foreign.exe"
    grep -qF '<Greeting>Hello, Ada</Greeting>' "$work/foreign.txt" || stop "not the response: $(cat "$work/foreign.txt")"
}

try_native
if [[ -e $mingw/bin/ZEL_Processor.dll ]]; then
    try_windows
else
    echo "not tried for Windows: there is no $mingw"
fi
((failures == 0))
