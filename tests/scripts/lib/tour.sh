# shellcheck shell=bash
# Runs what a page tells its reader to do: its blocks of shell, in their order and in one shell, and compares what they
# print with the block of text that follows.
#
# "…" in such a text stands for anything, several lines too. A comment before a block says what is done with it instead:
#   <!-- not run: REASON -->
#   <!-- goes on after: TEXT -->     runs beside the rest of the page; the rest begins when it has printed the text
#   <!-- stopped after: TEXT -->     the same, and then Ctrl-C
# A test sources this, makes a folder with tour_blocks and calls tour_run there where the page is to be followed.

# Takes a page apart: NN.sh, NN.mark, NN.expected for each block.
tour_blocks() { # page folder
    mkdir -p "$2"
    awk -v folder="$2" '
        function file(kind) { return sprintf("%s/%02d.%s", folder, count, kind) }
        inside { if ($0 == "```") { close(target); inside = 0 } else print > target; next }
        /^<!-- .* -->$/ { mark = substr($0, 6, length($0) - 9); next }
        $0 == "```sh" { ++count; inside = 1; target = file("sh"); printf "" > target
            print mark > file("mark"); close(file("mark")); mark = ""; wanted = 1; next }
        $0 == "```text" && wanted { inside = 1; target = file("expected"); printf "" > target; wanted = 0; next }
        /^```/ { inside = 1; target = "/dev/null" }' "$1"
}

tour_prints() { # expected actual
    perl -e '
        local $/; open(my $e, "<", $ARGV[0]); open(my $a, "<", $ARGV[1]);
        my ($expected, $actual) = (scalar(<$e>), scalar(<$a>));
        s/[ \t\r]+$//mg, s/\s+\z// for $expected, $actual;
        my $pattern = join(".*?", map { quotemeta } split(/\xe2\x80\xa6/, $expected, -1));
        exit($actual =~ /\A$pattern\z/s ? 0 : 1);' "$1" "$2"
}

tour_wait() { # text file process
    local tries
    for ((tries = 0; tries < 600; ++tries)); do
        ! grep -qF -- "$1" "$2" || return 0
        kill -0 "$3" 2>/dev/null || return 1
        sleep 0.1
    done
    return 1
}

tour_failed() { # block what
    echo "$1: $2"
    cat "${1%.sh}.sh"
    echo "it printed:"
    cat "${1%.sh}.out"
    exit 1
}

# One block that does not end by itself.
tour_beside() { # block mark
    local out=${1%.sh}.out
    : >"$out"
    set -m # a group of its own, which Ctrl-C reaches
    # shellcheck disable=SC1090 # a block of the page
    (source "$1") >"$out" 2>&1 </dev/null &
    local process=$!
    set +m
    tour_wait "${2#*: }" "$out" "$process" || tour_failed "$1" "'${2#*: }' did not come"
    if [[ $2 == "stopped after: "* ]]; then
        kill -INT -- "-$process"
        wait "$process" || tour_failed "$1" "ended with $? after Ctrl-C"
    fi
}

# In this shell, so that a page can set variables and go into folders.
tour_run() { # folder
    local tour_block tour_mark tour_count=0 tour_shown=0
    for tour_block in "$1"/*.sh; do
        tour_mark=$(<"${tour_block%.sh}.mark")
        case $tour_mark in
            "not run: "*) continue ;;
            "goes on after: "* | "stopped after: "*) tour_beside "$tour_block" "$tour_mark" ;;
            "")
                # shellcheck disable=SC1090
                source "$tour_block" >"${tour_block%.sh}.out" 2>&1 </dev/null || tour_failed "$tour_block" "failed with $?"
                ;;
            *) tour_failed "$tour_block" "'$tour_mark' is no mark" ;;
        esac
        tour_count=$((tour_count + 1))
        [[ -e ${tour_block%.sh}.expected ]] || continue
        tour_shown=$((tour_shown + 1))
        tour_prints "${tour_block%.sh}.expected" "${tour_block%.sh}.out" || {
            diff "${tour_block%.sh}.expected" "${tour_block%.sh}.out" || true
            tour_failed "$tour_block" "the page shows something else"
        }
    done
    echo "$tour_count blocks followed, $tour_shown of them with what they print"
}
