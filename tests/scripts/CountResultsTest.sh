#!/bin/bash
# What scripts/test reports is only as good as its counting: every way to fail must count, and be named.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
source "$root/scripts/lib/test-results.sh"
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

# The lines of GoogleTest's result file that matter, in its layout: case, result, failure (may be empty).
write_json() { # program, then three arguments for each case
    local file=$work/$1.json
    shift
    {
        printf '{\n  "testsuites": [\n    {\n      "name": "Suite",\n      "testsuite": [\n'
        while (($#)); do
            printf '        {\n          "name": "%s",\n          "status": "RUN",\n          "result": "%s"' "$1" "$2"
            [[ -z $3 ]] || printf ',\n          "failures": [\n            {\n              "failure": "%s"\n            }\n          ]' "$3"
            printf '\n        },\n'
            shift 3
        done
        printf '      ]\n    }\n  ]\n}\n'
    } >"$file"
}

printf '%s\n' good windows bad crashed leaking forgotten >"$work/programs.txt"
cat >"$work/ctest.xml" <<'XML'
<testsuite name="x" tests="8">
	<testcase name="good" classname="good" time="0.1" status="run">
	</testcase>
	<testcase name="windows" classname="windows" time="0.1" status="fail">
	</testcase>
	<testcase name="bad" classname="bad" time="0.1" status="fail">
	</testcase>
	<testcase name="crashed" classname="crashed" time="0.1" status="fail">
	</testcase>
	<testcase name="leaking" classname="leaking" time="0.1" status="fail">
	</testcase>
	<testcase name="plain" classname="plain" time="0.1" status="run">
	</testcase>
	<testcase name="plain_skipped" classname="plain_skipped" time="0.1" status="notrun">
		<skipped message="SKIP_RETURN_CODE=77"/>
	</testcase>
	<testcase name="plain_missing" classname="plain_missing" time="0.1" status="notrun">
		<skipped message="Unable to find executable"/>
	</testcase>
</testsuite>
XML
write_json good One COMPLETED "" Two SKIPPED "" DISABLED_Three SUPPRESSED "" 'Param\/0' COMPLETED ""
write_json windows One COMPLETED "" Two COMPLETED "x.cpp:2"
sed -i 's/$/\r/' "$work/windows.json"
write_json bad One COMPLETED 'x.cpp:1\nExpected \"result\": \"SKIPPED\"' Two COMPLETED ""
write_json leaking One COMPLETED ""

count_results trial "$work" >"$work/said"
sort "$work/said" >"$work/said.sorted"
sort >"$work/expected" <<'TEXT'
FAILED: trial: bad: Suite.One
    x.cpp:1
    Expected "result": "SKIPPED"
FAILED: trial: windows: Suite.Two
    x.cpp:2
FAILED: trial: crashed crashed, hung or did not start: it left no results
FAILED: trial: leaking: all cases passed, but the program's exit code says failure
FAILED: trial: plain_missing (notrun)
FAILED: trial: forgotten was not run
TEXT
diff "$work/expected" "$work/said.sorted"
[[ "$passed $failed $skipped" == "6 6 3" ]] || {
    echo "counted $passed passed, $failed failed, $skipped skipped; expected 6 6 3"
    exit 1
}

rm "$work/ctest.xml"
count_results trial "$work" >/dev/null
[[ "$passed $failed $skipped" == "0 1 0" ]] || {
    echo "without any results: counted $passed $failed $skipped; expected 0 1 0"
    exit 1
}
