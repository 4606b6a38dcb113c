# shellcheck shell=bash
# Counts test cases from what CTest and the GoogleTest programs left in a build folder. For sourcing.

# One line per test case: result (passed, failed, skipped), a tab, Suite.Name.
list_cases() { # file.json
    awk '
        function finish() {
            if (case_name != "") print (failed ? "failed" : result) "\t" suite "." case_name
            case_name = ""
        }
        function text(line) { sub(/^[^:]*: "/, "", line); sub(/",?$/, "", line); gsub(/\\\//, "/", line); return line }
        # Written by a Windows program, its lines end in two characters.
        { sub(/\r$/, "") }
        # GoogleTest indents by two: a suite is at six, a case at ten.
        /^      "name": /        { finish(); suite = text($0) }
        /^          "name": /    { finish(); case_name = text($0); failed = 0; result = "failed" }
        /^          "result": "COMPLETED"/               { result = "passed" }
        /^          "result": "(SKIPPED|SUPPRESSED)"/    { result = "skipped" }
        /^          "failures": \[/                      { failed = 1 }
        END { finish() }' "$1"
}

# What GoogleTest said of a failed test case, as much as a report can take.
failure_texts() { # file.json Suite.Name
    WANTED=$2 awk '
        function text(line) { sub(/^[^:]*: "/, "", line); sub(/",?$/, "", line); gsub(/\\\//, "/", line); return line }
        { sub(/\r$/, "") }
        /^      "name": /     { suite = text($0) }
        /^          "name": / { wanted = suite "." text($0) == ENVIRON["WANTED"] }
        wanted && /^ *"failure": / { said = text($0); gsub(/\\n/, "\n", said); gsub(/\\"/, "\"", said); print said }' "$1" |
        cut -c 1-500 | sed -n '1,30s/^/    /p'
}

# One line per CTest entry: run, fail, skip, disabled or notrun, a tab, its name.
list_entries() { # ctest.xml
    awk '
        function attribute(line, name) {
            if (!match(line, " " name "=\"[^\"]*\"")) return ""
            return substr(line, RSTART + length(name) + 3, RLENGTH - length(name) - 4)
        }
        function finish() { if (entry != "") print status "\t" entry; entry = "" }
        /<testcase /               { finish(); entry = attribute($0, "name"); status = attribute($0, "status") }
        /<skipped message="SKIP_/  { if (status == "notrun") status = "skip" }
        END { finish() }' "$1"
}

# Sets passed, failed and skipped, and names what failed.
count_results() { # preset results-folder
    local preset=$1 folder=$2 entry status json result name bad
    passed=0 failed=0 skipped=0
    if [[ ! -s $folder/ctest.xml ]]; then
        echo "FAILED: $preset: CTest left no results"
        failed=1
        return
    fi

    while IFS=$'\t' read -r status entry; do
        json=$folder/$entry.json
        bad=0
        if ! grep -qxF -- "$entry" "$folder/programs.txt"; then
            case $status in
                run) passed=$((passed + 1)) ;;
                skip | disabled) skipped=$((skipped + 1)) ;;
                *) failed=$((failed + 1)); echo "FAILED: $preset: $entry ($status)" ;;
            esac
            continue
        fi
        if [[ ! -s $json ]]; then
            failed=$((failed + 1))
            echo "FAILED: $preset: $entry crashed, hung or did not start: it left no results"
            # Under Wine a crash can look like success to CTest, which then shows nothing.
            [[ ! -s $folder/$entry.log ]] || grep -n -m 1 -A 40 '^wine: Unhandled' "$folder/$entry.log" || true
            continue
        fi
        while IFS=$'\t' read -r result name; do
            case $result in
                passed) passed=$((passed + 1)) ;;
                skipped) skipped=$((skipped + 1)) ;;
                *) bad=1; failed=$((failed + 1)); echo "FAILED: $preset: $entry: $name"; failure_texts "$json" "$name" ;;
            esac
        done < <(list_cases "$json")
        # A leak or a race found at the end of a program shows in its exit code alone.
        if [[ $status != run && $bad == 0 ]]; then
            failed=$((failed + 1))
            echo "FAILED: $preset: $entry: all cases passed, but the program's exit code says failure"
        fi
    done < <(list_entries "$folder/ctest.xml")

    # A program that CTest was never asked to run must not go unnoticed.
    while read -r name; do
        if [[ -n $name ]] && ! list_entries "$folder/ctest.xml" | cut -f2 | grep -xF -- "$name" >/dev/null; then
            failed=$((failed + 1))
            echo "FAILED: $preset: $name was not run"
        fi
    done <"$folder/programs.txt"
}
