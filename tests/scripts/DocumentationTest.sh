#!/bin/bash
# What the pages say must be true: links lead somewhere, every message is explained, and the examples run as they stand.
# shellcheck disable=SC2016 # quoted backticks are those of the pages
set -euo pipefail

export LANGUAGE=en # what the programs say is compared with English pages
source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
cd -- "$root"
bin=$build/bin

# A place inside a page: what its headings become as links.
anchors() { # page
    sed -n '/^```/,/^```/d; s/^##* //p' "$1" | tr '[:upper:]' '[:lower:]' | sed 's/[^a-z0-9 _-]//g; s/ /-/g'
}

check_links() { # page...
    local page target file anchor count=0
    for page; do
        while IFS= read -r target; do
            count=$((count + 1))
            file=${target%%#*}
            anchor=
            [[ $target != *#* ]] || anchor=${target#*#}
            [[ -z $file ]] && file=$page || file=$(dirname -- "$page")/$file
            if [[ ! -e $file ]]; then
                complain "$page: the link $target leads nowhere"
            elif [[ -n $anchor ]] && ! anchors "$file" | grep -xF -- "$anchor" >/dev/null; then
                complain "$page: the link $target names no heading"
            fi
        done < <(sed '/^```/,/^```/d' "$page" | grep -oP '\]\(\K[^)\s]+' | grep -v '^[a-z]*://')
    done
    ((count > 20)) || complain "only $count links found: the search for them is broken"
}

# The pages as they are installed, with nothing of the sources around them: they name those, and link to each other only.
check_installed_links() {
    local installed=$work/installed/share/doc/zel-processor page pages
    logged install cmake --install "$build" --component development --prefix "$work/installed"
    for page in *.md docs/*.md docs/decisions/*.md; do
        [[ -e $installed/$page ]] || complain "$page is not installed"
    done
    mapfile -t pages < <(find "$installed" -name '*.md' | sort)
    check_links "${pages[@]}"
    # Who follows these has a package and no tests/: they say so where they name something of it.
    while IFS= read -r page; do
        complain "$page: that is not installed, and the line does not say \"of the sources\""
    done < <(grep -n '`tests/' "$installed"/docs/installing.md "$installed"/docs/tour*.md | grep -vF 'of the sources')
}

# Whoever looks for a decision goes through the list of them.
check_decisions() {
    local page
    for page in docs/decisions/*.md; do
        [[ $page != */README.md ]] || continue
        grep -qF -- "](${page##*/})" docs/decisions/README.md || complain "docs/decisions/README.md does not list $page"
    done
}

# The tests that stand in the tables of cases, "file: name, name" in code spans; of a script it is the function.
check_cases() {
    local file names name count=0
    while IFS=: read -r file names; do
        if [[ ! -e tests/$file ]]; then
            complain "docs/security.md: there is no tests/$file"
            continue
        fi
        for name in ${names//,/ }; do
            count=$((count + 1))
            tr '\n' ' ' <"tests/$file" | grep -E "TEST(_F|_P)?\([A-Za-z0-9_]+, *$name\)|(^| )$name\(\) \{" >/dev/null ||
                complain "docs/security.md: tests/$file has no $name"
        done
    done < <(grep -oP '`\K[A-Za-z0-9_/]+\.(cpp|sh): [^`]+' docs/security.md)
    ((count > 150)) || complain "only $count tests found in docs/security.md: the search for them is broken"
}

# Every folder at the top that is under version control is in the map, and every folder of the map is there.
check_map() {
    local folder
    while IFS= read -r folder; do
        grep -qF -- "| \`$folder/" README.md || complain "README.md: the map has no folder $folder"
    done < <(find . -mindepth 1 -maxdepth 1 -type d ! -name '.*' ! -name build -printf '%P\n' | sort)
    while IFS= read -r folder; do
        [[ -d $folder ]] || complain "README.md: the map has a folder $folder, which is not there"
    done < <(sed -nE 's/^\| `([^`]+)\/` \|.*/\1/p' README.md)
}

# Texts that the sources show to people: wide literals with a blank in them, cut where something is put in. What is in
# several literals side by side is one text.
source_messages() { # file...
    perl -0777 -ne '
        s{^\s*///?[^\n]*}{}mg;
        s{(?<=[;{},)])\s*//[^\n]*}{}g;
        while (/(?<![\w"])L"((?:[^"\\\n]|\\.)*)"((?:\s*L?"(?:[^"\\\n]|\\.)*")*)/g) {
            my ($text, $rest) = ($1, $2);
            $text .= $1 while $rest =~ /"((?:[^"\\\n]|\\.)*)"/g;
            print "$text\n";
        }' "$@"
}
# Of the library and of the programs, without the texts of --help.
resource_messages() {
    grep -hP '^\d+\t(?!IDS_HELP_)' framework/resources/*.en.txt apps/*/resources/*.en.txt | cut -f 3
}
# Narrow texts of the parser's refusals.
parser_messages() {
    grep -ohP '(?<!L)"[A-Z][a-z]+( [a-z]+){2,}[^"]*"' com/posix/*.cpp | tr -d '"'
}

message_pages=(docs/messages.md docs/messages-server.md docs/crash-reports.md)
check_messages() {
    local all piece page=$work/messages.txt count=0
    # Table cells may escape a bar; code spans are taken apart so that a text may run over two of them.
    sed 's/\\|/|/g' "${message_pages[@]}" | tr '\n' ' ' | sed 's/` `/ /g; s/`//g; s/  */ /g' >"$page"
    mapfile -t sources < <(find Kernel apps com framework inc platform plugins/common plugins/datastore \
        -name '*.cpp' -o -name '*.h' | sort)
    all=$({ source_messages "${sources[@]}"; resource_messages; parser_messages; } |
        perl -ne 'chomp; s/\\"/"/g; s/\\\\/\\/g;
            for my $piece (split /\\n|\\r|%l?[sdix]/) {
                $piece =~ s/^\s+|\s+$//g if $piece !~ /^ ?\S+ ?$/;
                next unless $piece =~ /[A-Za-z]{2}/ && $piece =~ / /;
                $piece =~ s/^\s+|\s+$//g;
                print "$piece\n";
            }' | sort -u | grep -vxFf <(not_messages))
    while IFS= read -r piece; do
        count=$((count + 1))
        grep -qF -- "$piece" "$page" || complain "no page of messages has anything about \"$piece\""
    done <<<"$all"
    ((count > 150)) || complain "only $count texts found: the search for them is broken"
}
# Wide literals with a blank that nobody reads as a message.
not_messages() {
    cat <<'TEXT'
<category id="
CLSID array
Component Categories
Component Categories\
\Implemented Categories\
Data store
Plug-ins of ZEL_Processor
Process id:
Project marker
Thread id:
version='1.0' encoding='UTF-8'
TEXT
}

# The numbers of the library's texts on these pages: in front of a text or behind it in brackets.
# Where the page has "…" the text has something put in.
check_numbers() {
    local number text own count=0
    while IFS=$'\t' read -r number text; do
        count=$((count + 1))
        own=$(sed -n "s/^$number\t[^\t]*\t//p" framework/resources/ZEL_Processor.en.txt)
        own=${own%%%[sd]*}
        text=${text%%…*}
        [[ -n $own && ($text == *"$own"* || $own == "$text"*) ]] ||
            complain "a page of messages: text $number is not \"$text\""
    done < <(perl -CSD -ne '
        my $line = $_;
        print "$2\t$1\n" while $line =~ /`([^`]+)` \((\d{3})\)/g;
        print "$1\t$2\n" while $line =~ /(?:^\| |, |with )(\d{3}) `([^`]+)`/g;' "${message_pages[@]}")
    ((count > 30)) || complain "only $count numbers found: the search for them is broken"
}

# The code block that comes first after a line of a page.
code_after() { # page, line
    awk -v line="$2" '!found { found = ($0 == line); next } /^```/ { if (inside) exit; inside = 1; next } inside' "$1"
}

# What the page of the examples shows of a source stands there, line by line and in this order. Each code block is one
# piece, and nothing of the page's own may be in it.
check_examples() {
    local source
    for source in plugin-hello/Hello.cpp host/Main.cpp client/Main.cpp; do
        sed -n "\\|^\`examples/$source|,/^## /p" docs/examples.md | sed -n '/^```cpp/,/^```$/p' >"$work/shown"
        perl -0777 -e '
            my ($shown, $source) = map { local @ARGV = $_; scalar <> } @ARGV;
            my ($at, $count) = (0, 0);
            while ($shown =~ /^```cpp\n(.*?)^```$/gms) {
                my $found = index $source, $1, $at;
                die "not there: $1" if $found < 0 || ($found > 0 && substr($source, $found - 1, 1) ne "\n");
                $at = $found + length $1;
                ++$count;
            }
            die "only $count pieces\n" if $count < 3;' "$work/shown" "examples/$source" ||
            complain "docs/examples.md does not show examples/$source as it is"
    done
}

compile_plugin() {
    local flags=(-std=c++20 -Wall -Wextra -Werror -fvisibility=hidden -I . -I inc)
    code_after docs/plugins.md '`WordCount.cpp`:' >"$work/WordCount.cpp"
    mkdir "$work/plugins"
    code_after docs/plugins.md '`word_count.component`, in the same folder as the module:' \
        >"$work/plugins/word_count.component"
    [[ -s $work/WordCount.cpp && -s $work/plugins/word_count.component ]] || stop "docs/plugins.md: no example found"
    g++ "${flags[@]}" -fPIC -shared -Wl,-z,defs -o "$work/plugins/word_count.so" "$work/WordCount.cpp" \
        -L "$bin" -lZEL_Processor -lZEL_Framework || stop "docs/plugins.md: the example does not build"
    if command -v x86_64-w64-mingw32-g++-posix >/dev/null; then
        x86_64-w64-mingw32-g++-posix "${flags[@]}" -fsyntax-only -DUNICODE -D_UNICODE -DNOMINMAX \
            -DWINVER=0x0A00 -D_WIN32_WINNT=0x0A00 "$work/WordCount.cpp" ||
            stop "docs/plugins.md: the example does not compile for Windows"
    fi
    chmod -R go-w "$work/plugins"
}

# Ends when the server says that it is ready, or has ended.
start_server() { # argument...
    local line output
    mkfifo "$work/output.pipe"
    "$bin/zel-server" "$@" >"$work/output.pipe" 2>"$work/server.log" </dev/null &
    server=$!
    exec {output}<"$work/output.pipe"
    IFS= read -r -t 60 line <&"$output" || true
    exec {output}<&-
    if [[ $line != "zel-server: ready" ]]; then
        cat "$work/server.log"
        stop "the server did not start"
    fi
}
stop_server() {
    local code=0
    kill -TERM "$server"
    wait "$server" || code=$?
    server=
    ((code == 0)) || complain "the server's exit code is $code"
}

# The shell client of docs/protocol.md, byte for byte, against a server with the plug-in of docs/plugins.md.
run_protocol_example() {
    code_after docs/protocol.md \
        'In a Linux shell, without any program of this project, with the task of [plugins.md](plugins.md):' \
        >"$work/client.sh"
    [[ -s $work/client.sh ]] || stop "docs/protocol.md: no example found"
    start_server --request-dir "$work/requests" --output-dir "$work/output" --create-dirs --components "$work/plugins"
    (cd -- "$work" && timeout 60 bash -eu client.sh >client.out) || complain "docs/protocol.md: the shell client fails"
    grep -qx '13' "$work/client.out" || complain "docs/protocol.md: the request is not done: $(cat "$work/client.out")"
    grep -q '<Words>3</Words>' "$work/response.xml" || complain "docs/plugins.md: the example counts wrongly"
    [[ -z $(find "$work/output" -maxdepth 1 -type f) ]] || complain "docs/protocol.md: the shell client leaves files"
    stop_server
}

# The lines of README.md, with the build folder and the folder for data of this test.
run_readme_example() {
    code_after README.md 'After `scripts/demo`, by hand:' >"$work/readme.sh"
    grep -q 'zel-server' "$work/readme.sh" || stop "README.md: no example found"
    sed -i "s|build/release/bin|$bin|; s|/tmp/zel|$work/zel|g" "$work/readme.sh"
    # The last job in the background is the server; the end of the script must not leave it behind.
    echo 'wait $!' >>"$work/readme.sh"
    timeout 120 bash -eu "$work/readme.sh" >"$work/readme.out" 2>&1 || {
        cat "$work/readme.out"
        complain "README.md: the example fails"
    }
    grep -q '<Rows Count="10">' "$work/zel/demo.xml" || complain "README.md: the first response is not the expected one"
    grep -q '<RowCount>1707</RowCount>' "$work/zel/statistics.xml" ||
        complain "README.md: the second response is not the expected one"
}

# The dump of docs/protocol.md, read by the rules beside it.
check_dump() {
    local text
    text=$(code_after docs/protocol.md 'A running request of the task `Sleep`, one of three steps done, 98 bytes:' |
        sed -E 's/^[0-9a-f]{8}  //; s/ +\|.*//' | tr -d ' \n' | sed 's/../\\x&/g')
    [[ $(printf '%b' "$text" | wc -c) == 98 ]] || complain "docs/protocol.md: the dump has not the length that it says"
    [[ $(printf '%b' "$text" | iconv -f UTF-16LE) == $'9\r\nProgressPerc=33\r\nProgressComment=step 1 of 3\r' ]] ||
        complain "docs/protocol.md: the dump is not the status that it says"
}

[[ -x $bin/zel-server ]] || stop "$bin/zel-server is missing: build first, or name the build folder in ZEL_BUILD_DIR"
check_links ./*.md docs/*.md docs/decisions/*.md fuzz/README.md tests/vectors/README.md
check_installed_links
check_decisions
check_cases
check_map
check_messages
check_numbers
check_dump
check_examples
compile_plugin
run_protocol_example
run_readme_example
((failures == 0))
