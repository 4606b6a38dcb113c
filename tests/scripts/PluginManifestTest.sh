#!/bin/bash
# What zel_add_plugin makes: the manifest of a plug-in lies beside its module, and nowhere without it.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"

mkdir "$work/project"
cat >"$work/project/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.22)
project(Manifest CXX)
add_library(library INTERFACE)
add_library(ZEL_Processor::ZEL_Processor ALIAS library)
include("$root/cmake/ZelAddPlugin.cmake")
zel_add_plugin(NAME tried CLASS_ID "{1D5A1F5E-0B7C-4C0E-9D63-2B1A5C0F7E11}" CLASS_NAME Tried
    FOLDER "\${CMAKE_BINARY_DIR}/plugins" SOURCES tried.cpp LIBS -Wl,--no-undefined)
EOF
plugins=$work/build/plugins
expect() { # what the folder of the plug-ins has to hold
    local found
    found=$(find "$plugins" -type f -printf '%f\n' 2>/dev/null | sort | tr '\n' ' ') || true
    [[ $found == "$1" ]] || stop "$2: '$found' in place of '$1'"
}

echo 'int tried() { return 1; }' >"$work/project/tried.cpp"
logged configure cmake -S "$work/project" -B "$work/build"
expect "" "before the module is built"
logged build cmake --build "$work/build"
expect "tried.component tried.so " "when it is built"
echo 'int missing(); int tried() { return missing(); }' >"$work/project/tried.cpp"
if cmake --build "$work/build" >/dev/null 2>&1; then
    stop "what cannot be linked is built"
fi
expect "" "when its link has failed"
