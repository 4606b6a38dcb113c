# Completion of zel, zel-server and zel-regsvr for bash. Commands, options and what an option takes come from --help, the
# names of requests from "zel list" and "zel failed".

_zel_help() { # program [command]
    LC_ALL=C "$@" --help 2>/dev/null </dev/null
}

_zel_commands() { # reads a help text
    awk '/^Subcommands:/ { found = 1; next } found && !/^  [a-z]/ { exit } found { print $1 }'
}

_zel_options() { # reads a help text
    sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr ',' '\n'
}

# What the option takes, as its help names it: DIR, FILE ...; nothing for a switch.
_zel_value_of() { # option; reads a help text
    awk -v option="$1" '/^  -/ { n = split($1, names, ","); for (i = 1; i <= n; ++i)
        if (names[i] == option && $2 ~ /^[A-Z]+$/) print $2 }'
}

# The directories that the line names so far; without them zel takes them from its variables.
_zel_requests() { # program command
    local given=() i
    for ((i = 1; i + 1 < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --request-dir | --output-dir) given+=("${COMP_WORDS[i]}" "${COMP_WORDS[i + 1]}") ;;
        esac
    done
    timeout 2 "$1" "$2" --json "${given[@]}" 2>/dev/null </dev/null | sed -n 's/^{"name":"\([^"\\]*\)".*/\1/p'
}

# Whole words, each of which may have blanks in it.
_zel_reply() { # reads candidates, one per line
    local word
    while IFS= read -r word; do
        [[ $word == "$cur"* ]] && COMPREPLY+=("$word")
    done
}

_zel() {
    local program=$1 cur=$2 previous=$3 command="" help i
    COMPREPLY=()
    if [[ ${program##*/} == zel ]]; then
        local commands
        commands=$(_zel_help "$program" | _zel_commands)
        for ((i = 1; i < COMP_CWORD; ++i)); do
            if grep -qxF -e "${COMP_WORDS[i]}" <<<"$commands"; then
                command=${COMP_WORDS[i]}
                break
            fi
        done
    fi
    help=$(_zel_help "$program" ${command:+"$command"})
    case $(_zel_value_of "$previous" <<<"$help") in
        "") ;;
        DIR) compopt -o filenames 2>/dev/null; _zel_reply < <(compgen -d -- "$cur"); return ;;
        FILE | TARGET) compopt -o filenames 2>/dev/null; _zel_reply < <(compgen -f -- "$cur"); return ;;
        LEVEL) _zel_reply <<<$'trace\ndebug\ninfo\nwarning\nerror\ncritical'; return ;;
        FORMAT) _zel_reply <<<$'table\ncsv\njson\nxml'; return ;;
        *) return ;;
    esac
    if [[ $cur == -* ]]; then
        _zel_reply < <(_zel_options <<<"$help")
        return
    fi
    case ${program##*/}:$command in
        zel:) _zel_reply <<<"$commands" ;;
        zel:status | zel:wait | zel:forget | zel:cancel | zel:pause | zel:resume | zel:move) _zel_reply < <(_zel_requests "$program" list) ;;
        zel:retry | zel:discard) _zel_reply < <(_zel_requests "$program" failed) ;;
        zel:receive | zel:show)
            _zel_reply < <(_zel_requests "$program" list)
            ((${#COMPREPLY[@]})) || { compopt -o filenames 2>/dev/null; _zel_reply < <(compgen -f -- "$cur"); }
            ;;
        zel:send | zel:run | zel:run-task | zel-regsvr:) compopt -o filenames 2>/dev/null; _zel_reply < <(compgen -f -- "$cur") ;;
    esac
}

complete -F _zel zel zel-server zel-regsvr
