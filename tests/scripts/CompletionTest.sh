#!/bin/bash
# What the shells offer after a line is typed so far. bash's function is called as bash calls it; fish and zsh are asked
# themselves where they are installed.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
bin=${ZEL_BUILD_DIR:-$root/build/debug}/bin
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
export PATH=$bin:$PATH

failures=0
# The last word is the one that is being typed.
expect() { # shell "line" candidate...
    local shell=$1 line=$2 offered wanted
    shift 2
    offered=$("offered_by_$shell" "$line" | LC_ALL=C sort | tr '\n' ' ')
    for wanted; do
        if [[ " $offered" != *" $wanted "* ]]; then
            echo "$shell, '$line': offers '$offered', not $wanted"
            failures=$((failures + 1))
        fi
    done
}
expect_only() { # shell "line" [candidate]
    local offered
    offered=$("offered_by_$1" "$2" | tr '\n' ' ')
    if [[ $offered != "${3:+$3 }" ]]; then
        echo "$1, '$2': offers '$offered', not '${3-}' alone"
        failures=$((failures + 1))
    fi
}

offered_by_bash() { # line
    bash --norc -c '
        source "$1"
        read -ra COMP_WORDS <<<"$2"
        [[ $2 != *" " ]] || COMP_WORDS+=("")
        COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        _zel "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        ((${#COMPREPLY[@]} == 0)) || printf "%s\n" "${COMPREPLY[@]}"' \
        _ "$root/packaging/completion/zel.bash" "$1"
}
offered_by_fish() { # line
    # shellcheck disable=SC2016 # expanded by fish
    HOME=$work fish --no-config -c 'source $argv[1]; complete -C $argv[2]' "$root/packaging/completion/zel.fish" "$1" |
        cut -f 1 | sed 's|/$||'
}

# zsh completes on a terminal only: it gets one, the line and a tab, and has to go on with the rest of the word.
completed_by_zsh() { # line word
    # shellcheck disable=SC2016 # expanded by zsh
    HOME=$work timeout 30 zsh -f -c '
        zmodload zsh/zpty
        zpty shell zsh -f -i
        zpty -w shell "PS1=; fpath=($1 \$fpath); autoload -Uz compinit; compinit -u -D; print REA\"\"DY"
        zpty -r shell output "*READY*"
        zpty -w -n shell "$2"$'"'\\t'"'
        zpty -r shell output "*$3*"' _ "$root/packaging/completion" "$1" "$2" >/dev/null || {
        echo "zsh, '$1': does not offer $2"
        failures=$((failures + 1))
    }
}

check_shell() { # shell
    local directories="--request-dir $work/in --output-dir $work/out"
    expect "$1" 'zel ' send run show status wait receive forget list watch cancel pause resume listen properties new-plugin run-task server doctor help
    expect "$1" 'zel re' receive resume
    expect "$1" 'zel send --' --task --set --parameter --priority --name --move --wait --timeout --request-dir --json
    expect_only "$1" 'zel send --na' --name
    expect_only "$1" 'zel-server --no-e' --no-executive
    expect_only "$1" 'zel-server --log-level w' warning
    expect_only "$1" 'zel run --format j' json
    expect "$1" "zel show $directories " first.drq
    expect "$1" "zel run $work/" "$work/job.drq"
    expect_only "$1" "zel-server --components $work/i" "$work/in"
    expect "$1" "zel send $work/" "$work/job.drq"
    expect "$1" "zel status $directories " first.drq second.drq
    expect_only "$1" "zel cancel $directories f" first.drq
    expect_only "$1" "zel retry $directories " broken.drq
    expect_only "$1" 'zel send --timeout '
}

if [[ ! -x $bin/zel || ! -x $bin/zel-server ]]; then
    echo "$bin/zel is missing: build first, or name the build folder in ZEL_BUILD_DIR"
    exit 1
fi
mkdir "$work/in" "$work/out"
touch "$work/job.drq" "$work/in/first.drq" "$work/in/second.drq"
mkdir -p "$work/out/.zel-server/failed"
touch "$work/out/.zel-server/failed/broken.drq"
unset ZEL_REQUEST_DIR ZEL_OUTPUT_DIR ZEL_CLIENT_DIR
# Whatever the programs speak, their help is read in English.
export LANG=de_DE.UTF-8 LANGUAGE=de:fr
check_shell bash
ZEL_REQUEST_DIR=$work/in ZEL_OUTPUT_DIR=$work/out expect_only bash 'zel wait s' second.drq
if command -v fish >/dev/null; then
    check_shell fish
else
    echo "not tried in fish: it is not installed"
fi
if command -v zsh >/dev/null; then
    completed_by_zsh 'zel rece' 'receive'
    completed_by_zsh 'zel send --na' '--name'
    completed_by_zsh 'zel-server --log-level w' 'warning'
    completed_by_zsh 'zel show --format cs' 'csv'
    completed_by_zsh "zel status --request-dir $work/in --output-dir $work/out f" 'first.drq'
    completed_by_zsh "zel retry --request-dir $work/in --output-dir $work/out br" 'broken.drq'
else
    echo "not tried in zsh: it is not installed"
fi
((failures == 0))
