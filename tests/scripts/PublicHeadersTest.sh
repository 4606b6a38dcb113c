#!/bin/bash
# The list of the public headers is whole: it has every header of inc/, and what those and the pages name.
# shellcheck disable=SC2016 # quoted backticks are those of the pages
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
cd -- "$root"
mapfile -t headers < <(grep -v '^#' cmake/PublicHeaders.txt)

is_public() { # header
    grep -qxF -- "$1" cmake/PublicHeaders.txt
}

check_list() {
    local header
    printf '%s\n' "${headers[@]}" | LC_ALL=C sort -c -u || complain "the list is not sorted"
    for header in "${headers[@]}"; do
        [[ -e inc/$header || -e $header ]] || complain "there is no $header"
    done
    while IFS= read -r header; do
        is_public "$header" || complain "$header is in inc/ and not public"
    done < <(cd inc && find . -name '*.h' -o -name '*.hpp' | sed 's|^./||')
}

# A class that a header of inc/ only declares is somebody's to make or use, unless it is the library's own.
check_declared() {
    local class header count=0
    while IFS= read -r class; do
        while IFS= read -r header; do
            count=$((count + 1))
            is_public "$header" || complain "inc/ declares $class, whose $header is not public"
        done < <(grep -lE "^(class|struct)( [A-Z_]+)? $class( final)?( :|\$| \{)" framework/*.h com/*.h)
    done < <(grep -rhoP '^(class|struct) \K\w+(?=;)' inc | sort -u)
    ((count >= 3)) || complain "only $count declared classes found: the search for them is broken"
}

# Pages for those who use the libraries; the others are about what is inside.
check_pages() {
    local page header count=0
    for page in README.md docs/{archives,examples,installing,languages,plugins,tour-application,tour-plugin}.md; do
        while IFS= read -r header; do
            count=$((count + 1))
            is_public "$header" || complain "$page names $header, which is not public"
        done < <(grep -oP '[`<]\K(framework|com|platform|ZEL_Processor|ZELAutomation)/\w+\.h(?=[`>])' "$page")
    done
    ((count > 20)) || complain "only $count headers found in the pages: the search for them is broken"
    # And the other way round: a page tells of each that has no name of the library's before it.
    for header in "${headers[@]}"; do
        [[ $header == ZEL* ]] || grep -qF "<$header>" docs/installing.md || complain "docs/installing.md does not name $header"
    done
}

check_list
check_declared
check_pages
((failures == 0))
