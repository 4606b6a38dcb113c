#!/bin/bash
# The reference of the public headers is made without a warning, and has what its front page promises.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)
cd -- "$root"
scripts/reference
failures=0
while IFS= read -r name; do
    grep -qwF -- "$name" build/reference/html/annotated.html build/reference/html/files.html || {
        echo "docs/reference.md names $name, which the reference does not have"
        failures=$((failures + 1))
    }
done < <(sed -n '/^|/s/^|[^|]*|//p' docs/reference.md | grep -oE '[A-Z][A-Za-z_]+[a-z](\.h)?' | grep -v begins | sort -u)
((failures == 0))
