#!/bin/bash
# What docs/script-tasks.md shows must work as it stands, with its programs and with their mistakes.
# shellcheck disable=SC2016 # quoted backticks are those of the page
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
export LANGUAGE=en ZEL_SCRIPT_TASKS=$work/script-tasks.json
page=$root/docs/script-tasks.md

# The code block of this language that comes first behind a text of the page.
block() { # text language
    awk -v text="$1" -v fence="\`\`\`$2" '
        index($0, text) { found = 1 }
        found && $0 == "```" && inside { exit }
        inside { print }
        found && $0 == fence { inside = 1 }' "$page"
}

run_task() { # type
    block '`request.drq` is a request' xml | sed "s/WordCount/$1/" >"$work/request.drq"
    code=0
    output=$("$build/bin/zel" run-task "$build/bin/plugins/zel_script.so" "$work/request.drq" 2>"$work/errors") || code=$?
}

check_examples() {
    run_task WordCount
    [[ $code == 0 && $output == "<Response><Words>4</Words></Response>" ]] || complain "WordCount: $code, $output"
    grep -q 'GettingData 50 % counted' "$work/errors" || complain "WordCount tells no progress: $(cat "$work/errors")"
    run_task Sorted
    [[ $code == 0 && $output == *"four words in here"* ]] || complain "Sorted: $code, $output"
}

check_mistakes() {
    echo 'import nothing_of_this_name' >"$work/words.py"
    run_task WordCount
    [[ $code == 3 ]] || complain "a program that fails: $code"
    grep -q 'ended with exit code 1: .*' "$work/errors" || complain "no exit code: $(cat "$work/errors")"
    grep -q nothing_of_this_name "$work/errors" || complain "the program's own words are missing: $(cat "$work/errors")"
    chmod o+w "$work/script-tasks.json"
    run_task WordCount
    [[ $code == 3 ]] || complain "a file that anybody may write to is used"
    grep -q 'No programs for tasks: .*script-tasks.json' "$work/errors" ||
        complain "nobody is told of the file: $(cat "$work/errors")"
}

for program in python3 sort; do
    command -v "$program" >/dev/null || {
        echo "there is no $program"
        exit 77
    }
done
block '`words.py` counts words' python >"$work/words.py"
block '`script-tasks.json`, in the same folder' json >"$work/script-tasks.json"
[[ -s $work/words.py && -s $work/script-tasks.json ]] || stop "no example found"
check_examples
check_mistakes
((failures == 0))
