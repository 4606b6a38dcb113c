#!/bin/bash
# The package for Python: its types, its layout, its tests against a real server, and the wheel, which is built without
# a network and has the version of the library.
set -euo pipefail

source "$(dirname -- "${BASH_SOURCE[0]}")/lib/workplace.sh"
python=/usr/bin/python3 # the system's, whose packages are those that scripts/install-packages knows
for module in pytest mypy black flake8 pip setuptools wheel; do
    "$python" -c "import $module" 2>/dev/null || {
        echo "there is no $module for $python"
        exit 77
    }
done
export ZEL_BUILD_DIR=$build ZEL_LIBRARY=$build/bin/libZEL_Processor.so.0 LANGUAGE=en PYTHONDONTWRITEBYTECODE=1
mkdir -p "$work/tree/platform"
cp "$root/platform/Version.h" "$work/tree/platform/"
cp -r "$root/python" "$work/tree/python"

check_layout() {
    cd -- "$root/python"
    "$python" -m black --quiet --check . || complain "black would lay it out otherwise: black python"
    "$python" -m flake8 --max-line-length 120 . || complain "flake8 found something"
    "$python" -m mypy --cache-dir "$work/mypy" zel_processor tests || complain "mypy found something"
}

check_tests() {
    cd -- "$root/python"
    PYTHONPATH=$root/python "$python" -m pytest -p no:cacheprovider --basetemp "$work/pytest" tests ||
        complain "tests failed"
}

check_packages() {
    local version
    version=$(sed -nE 's/^#define ZEL_VERSION_(MAJOR|MINOR|PATCH) ([0-9]+)$/\2/p' "$root/platform/Version.h" | paste -sd .)
    cd -- "$work/tree/python"
    mkdir "$work/sdist"
    logged sdist "$python" -c 'import sys, setuptools.build_meta as backend; backend.build_sdist(sys.argv[1])' "$work/sdist"
    # From the source distribution, which has no sources of the library beside it.
    logged wheel "$python" -m pip wheel --no-build-isolation --no-index --no-deps -w "$work" "$work"/sdist/*.tar.gz
    [[ -e $work/zel_processor-$version-py3-none-any.whl ]] || stop "no wheel of version $version: $(ls "$work")"
    logged install "$python" -m pip install --no-index --no-deps --target "$work/site" "$work"/*.whl
    [[ -e $work/site/zel_processor/py.typed ]] || complain "the wheel does not say that it has types"
    cd /
    PYTHONPATH=$work/site "$python" -m zel_processor --help >"$work/help" || complain "the installed module does not start"
    grep -q -- '--request-dir' "$work/help" || complain "no help: $(cat "$work/help")"
}

check_layout
check_tests
check_packages
((failures == 0))
