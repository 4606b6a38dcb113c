#!/bin/bash
# The loader of the sample data: see samples/load-samples-test for what it checks.
set -euo pipefail
exec "$(dirname -- "${BASH_SOURCE[0]}")/../../samples/load-samples-test"
