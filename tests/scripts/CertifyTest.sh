#!/bin/bash
# scripts/certify in its short form: nothing that was handed over is lost. And that it can see: a case that fails is told
# of, with the command that repeats it.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"

for tool in python3 strace spin gcc; do
    command -v "$tool" >/dev/null || { echo "skipped: there is no $tool"; exit 77; }
done
strace -o /dev/null true 2>/dev/null || { echo "skipped: processes may not be traced here"; exit 77; }
[[ -x $build/bin/zel-server ]] || stop "$build/bin/zel-server is missing: build first, or name the build folder in ZEL_BUILD_DIR"

# A server that begins with an empty directory, whatever it is told, loses what waits when it is killed.
check_that_it_sees() {
    local forgetful=$work/forgetful
    mkdir "$forgetful"
    cp -a -- "$build/bin" "$forgetful/"
    mv -- "$forgetful/bin/zel-server" "$forgetful/bin/real-server"
    # shellcheck disable=SC2016 # expanded by the stand-in
    printf '%s\n' '#!/bin/bash' 'for word; do [[ $word == --resume ]] || words+=("$word"); done' \
        'exec "$(dirname -- "$0")/real-server" "${words[@]}"' >"$forgetful/bin/zel-server"
    chmod +x "$forgetful/bin/zel-server"
    if TMPDIR=$work "$root/scripts/certify" --build "$forgetful" --case killed:executive:unlink:2 >"$work/said"; then
        complain "a server that forgets is not found out"
    fi
    grep -q 'FAILED: killed:executive:unlink:2: .*lost' "$work/said" || complain "it is not told what was lost"
    grep -q -- '--case killed:executive:unlink:2$' "$work/said" || complain "the command that repeats it is missing"
}

# A response that cannot be removed keeps its status, as nobody else's name.
answered_but_kept() {
    TMPDIR=$work "$root/scripts/certify" --build "$build" --case failing:receive:unlink:1:EACCES >"$work/said" || {
        cat "$work/said"
        complain "a response that cannot be removed loses its status"
    }
}

check_that_it_sees
answered_but_kept
TMPDIR=$work "$root/scripts/certify" --quick --seed 5 --build "$build" || complain "the certificate fails"
((failures == 0)) || cat "$work/said"
((failures == 0))
