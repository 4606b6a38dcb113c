#!/bin/bash
# The server's page in a browser: on made-up data, and that of a real server.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
"$root/tests/page/hashes.py"

for program in chromium chromedriver; do
    command -v "$program" >/dev/null || {
        echo "skipped: there is no $program; scripts/install-packages browser installs it"
        exit 77
    }
done
# The first python3 of the path may be another one than that of the packages.
for python in python3 /usr/bin/python3 none; do
    ! "$python" -c 'import selenium' 2>/dev/null || break
done
[[ $python != none ]] || {
    echo "skipped: there is no selenium for Python; scripts/install-packages browser installs it"
    exit 77
}
export PYTHONDONTWRITEBYTECODE=1
"$python" "$root/tests/page/page_test.py"
"$python" "$root/tests/page/server_test.py"
