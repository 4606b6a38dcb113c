#!/bin/bash
# bench/record keeps what the real program measured, with the machine; bench/compare finds a ratio that got worse, and
# nothing in one that did not.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"

# A result with the rows of two releases' own: one of single requests, one of a burst.
write_result() { # file, microseconds of a request, requests in a second
    printf '{"cores":"2","cpu":"one","rows":[
        {"name":"round-trip","sync":true,"p50_us":%s,"bare_p50_us":100,"per_second":9,"bare_per_second":10},
        {"name":"burst-1000","sync":false,"p50_us":null,"bare_p50_us":null,"per_second":%s,"bare_per_second":1000}]}\n' \
        "$2" "$3" >"$1"
}
compare() { # expected exit code, argument...
    local expected=$1 code=0
    shift
    "$root/bench/compare" "$@" >"$work/said" 2>&1 || code=$?
    ((code == expected)) || complain "compare $*: exit code $code, not $expected: $(cat "$work/said")"
}
says() { # pattern
    grep -qE -- "$1" "$work/said" || complain "nothing of '$1': $(cat "$work/said")"
}

check_compare() {
    mkdir "$work/results"
    write_result "$work/results/0.9.0.json" 150 500
    compare 0 "$work/results/0.9.0.json"
    says 'no earlier version'

    write_result "$work/results/0.10.0.json" 164 456
    compare 0 "$work/results/0.10.0.json"
    says '^round-trip sync +1\.50 +1\.64 +\+9\.3%$'
    says '^burst-1000 +2\.00 +2\.19 +\+9\.6%$'
    compare 1 --tolerance 9 "$work/results/0.10.0.json"
    says 'round-trip.*worse'

    # Of three the one before, by number.
    write_result "$work/results/0.11.0.json" 100 501
    compare 0 "$work/results/0.11.0.json"
    says '^round-trip sync +1\.64 +1\.00 +-39\.0%$'
    write_result "$work/results/0.11.0.json" 164 400
    compare 1 "$work/results/0.11.0.json"
    says '^burst-1000 .*worse$'
    if grep -q 'round-trip.*worse' "$work/said"; then
        complain "what is as it was counts as worse"
    fi
    compare 0 "$work/results/0.9.0.json" "$work/results/0.11.0.json"

    sed 's/burst-1000/burst-2000/; s/"cpu":"one"/"cpu":"two"/' "$work/results/0.9.0.json" >"$work/other.json"
    compare 1 "$work/other.json" "$work/results/0.9.0.json"
    says '^another cpu: one, now two$'
    says '^burst-1000 .*gone$'
    says '^burst-2000 .*new$'

    compare 2
    compare 2 "$work/results/none.json"
    says 'No such file'
    echo '{}' >"$work/empty.json"
    compare 2 "$work/empty.json"
}

check_record() {
    local result=$work/recorded.json fact
    mkdir -p "$work/build/bin" "$work/place"
    # The program as it is, with less to do.
    printf '#!/bin/bash\nexec "%s" "$@" --quick --rows status-read\n' "$build/bin/zel-bench" >"$work/build/bin/zel-bench"
    chmod +x "$work/build/bin/zel-bench"
    ZEL_BUILD_DIR=$work/build logged record "$root/bench/record" "$work/place" "$result"
    for fact in version commit date cores cpu kernel file_system; do
        grep -qE "^ +\"$fact\" : \".+\"" "$result" || complain "the result has no $fact: $(cat "$result")"
    done
    compare 0 "$result" "$result"
    says '^status-read +[0-9]'
    says '^status-read sync +[0-9]'
    # What fails leaves what was there.
    cp "$result" "$work/before.json"
    printf '#!/bin/bash\nexit 1\n' >"$work/build/bin/zel-bench"
    if ZEL_BUILD_DIR=$work/build "$root/bench/record" "$work/place" "$result" >/dev/null 2>&1; then
        complain "record succeeds where the measurement failed"
    fi
    cmp "$work/before.json" "$result" || complain "a measurement that failed changed the result"
}

[[ -x $build/bin/zel-bench ]] || stop "$build/bin/zel-bench is missing: build first, or name the build folder in ZEL_BUILD_DIR"
check_compare
check_record
((failures == 0))
