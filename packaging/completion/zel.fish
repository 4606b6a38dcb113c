# Completion of zel, zel-server and zel-regsvr for fish. Commands and options come from --help, the names of requests
# from "zel list" and "zel failed".

function __zel_help
    env LC_ALL=C $argv --help 2>/dev/null </dev/null
end

# One command per line, with what it does.
function __zel_commands
    __zel_help zel | awk '/^Subcommands:/ { found = 1; next } found && !/^  [a-z]/ { exit }
        found { name = $1; $1 = ""; sub(/^ /, ""); print name "\t" $0 }'
end

function __zel_command
    set -l commands (__zel_commands | cut -f 1)
    for word in (commandline -opc)[2..-1]
        if contains -- $word $commands
            echo $word
            return
        end
    end
    return 1
end

# What the option before the cursor takes: DIR, FILE ...; nothing after a switch or another word.
function __zel_value
    set -l previous (commandline -opc)[-1]
    string match -q -- '-*' $previous; or return 1
    set -l program (commandline -opc)[1]
    __zel_help $program $argv | awk -v option=$previous '/^  -/ { n = split($1, names, ",")
        for (i = 1; i <= n; ++i) if (names[i] == option && $2 ~ /^[A-Z]+$/) print $2 }'
end

function __zel_options
    __zel_help $argv | awk '/^  -/ { n = split($1, names, ","); first = $2 ~ /^[A-Z]+$/ ? 3 : 2; text = ""
        if ($first == "REQUIRED") ++first
        for (i = first; i <= NF; ++i) text = text (text == "" ? "" : " ") $i
        for (i = 1; i <= n; ++i) print names[i] "\t" text }'
end

function __zel_requests # command
    set -l words (commandline -opc)
    set -l given
    for i in (seq 2 (math (count $words) - 1))
        if contains -- $words[$i] --request-dir --output-dir
            set -a given $words[$i] $words[(math $i + 1)]
        end
    end
    timeout 2 zel $argv[1] --json $given 2>/dev/null </dev/null | sed -n 's/^{"name":"\([^"\\\\]*\)".*/\1/p'
end

function __zel_complete
    set -l program (commandline -opc)[1]
    set -l name (string replace -r '.*/' '' -- $program)
    set -l current (commandline -ct)
    set -l command
    test $name = zel; and set command (__zel_command)
    switch (__zel_value $command)
        case DIR
            __fish_complete_directories $current
            return
        case FILE TARGET
            __fish_complete_path $current
            return
        case LEVEL
            printf '%s\n' trace debug info warning error critical
            return
        case FORMAT
            printf '%s\n' table csv json xml
            return
        case '?*'
            return
    end
    if string match -q -- '-*' $current
        __zel_options $program $command
        return
    end
    switch "$name:$command"
        case 'zel:'
            __zel_commands
        case zel:status zel:wait zel:forget zel:cancel zel:pause zel:resume zel:move
            __zel_requests list
        case zel:retry zel:discard
            __zel_requests failed
        case zel:receive zel:show
            __zel_requests list
            __fish_complete_path $current
        case zel:send zel:run zel:run-task zel-regsvr:
            __fish_complete_path $current
    end
end

complete -c zel -f -a '(__zel_complete)'
complete -c zel-server -f -a '(__zel_complete)'
complete -c zel-regsvr -f -a '(__zel_complete)'
