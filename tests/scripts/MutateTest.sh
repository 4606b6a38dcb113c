#!/bin/bash
# That scripts/mutate breaks what it says, finds what no test notices, and leaves the tree as it was. On a small project.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
for tool in python3 git ninja; do
    command -v "$tool" >/dev/null || { echo "skipped: there is no $tool"; exit 77; }
done
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

mkdir -p "$work/scripts" "$work/platform" "$work/tests/platform"
cp -- "$root/scripts/mutate" "$work/scripts"
printf '#!/bin/sh\n' >"$work/scripts/install-packages" # what is missing is looked for above
chmod +x "$work/scripts/install-packages"
cd -- "$work"
cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
project(small CXX)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
add_executable(platform_tests platform/Small.cpp tests/platform/SmallTest.cpp)
END
cat >CMakePresets.json <<'END'
{
    "version": 6,
    "configurePresets": [
        { "name": "debug", "generator": "Ninja", "binaryDir": "${sourceDir}/build/debug",
          "cacheVariables": { "CMAKE_BUILD_TYPE": "Debug" } }
    ]
}
END
cat >platform/Small.cpp <<'END'
#include <cstring>

// true || false && 1 == 2
const char* Words()
{
    return "true || 1 == 2";
}

bool IsWarm(int degrees)
{
    return degrees >= 20;
}

int CountDown(int from)
{
    while (from > 0)
        from -= 1;
    return from;
}
END
cat >tests/platform/SmallTest.cpp <<'END'
bool IsWarm(int degrees);
int CountDown(int from);
int main()
{
    return IsWarm(25) && !IsWarm(19) && CountDown(3) == 0 ? 0 : 1;
}
END
git init -q
git add -A
before=$(sha256sum platform/Small.cpp)

failures=
expect() { # code, words, arguments...
    local wanted=$1 words=$2 code=0 said
    shift 2
    said=$(scripts/mutate "$@" 2>&1 </dev/null) || code=$?
    [[ $code == "$wanted" && $said == *"$words"* ]] ||
        failures+="mutate $*: exit code $code, not $wanted with '$words'"$'\n'"$said"$'\n'
    LAST=$said
}

expect 0 "return degrees > 20;" platform --list --count 100
[[ $LAST != *Small.cpp:[356]:* ]] || failures+="a comment or a text is to be broken"$'\n'
first=$(scripts/mutate platform --list --count 3 --seed 7)
[[ $first == "$(scripts/mutate platform --list --count 3 --seed 7)" ]] || failures+="one seed gave two samples"$'\n'

expect 2 "no folder 'nowhere'" nowhere
expect 2 "needs a --file" --line 3
expect 2 "no source" --file CMakeLists.txt
expect 2 "unrecognized" --unknown
[[ ! -e build ]] || failures+="something was built for a list"$'\n'

# Nobody asks about exactly 20 degrees. Without its subtraction the loop does not end, which counts as noticed.
expect 1 "platform/Small.cpp:11: operator" --file platform/Small.cpp --line 11
[[ $LAST == *"survived: "*"return degrees > 20;"* ]] || failures+="not found: $LAST"$'\n'
expect 0 "platform_tests: hung" --file platform/Small.cpp --line 17
[[ $before == "$(sha256sum platform/Small.cpp)" ]] || failures+="the tree was changed"$'\n'
cmp -s platform/Small.cpp build/mutate/tree/platform/Small.cpp || failures+="the copy was left broken"$'\n'

# A run that was killed leaves what it had made from a broken source; the next one does not believe in that.
echo bin/platform_tests >build/mutate/broken
printf '#!/bin/sh\nexit 1\n' >build/mutate/tree/build/debug/bin/platform_tests
expect 1 "survived: platform/Small.cpp:11: operator" --file platform/Small.cpp --line 11

# What fails of itself could notice nothing.
sed -i 's/IsWarm(19)/IsWarm(21)/' tests/platform/SmallTest.cpp
expect 2 "without a change" --file platform/Small.cpp --line 11

[[ -z $failures ]] || { printf '%s' "$failures"; exit 1; }
