#!/usr/bin/env bash
# The long fuzz run: every target for at least 10^6 executions (--runs N to
# change), two at a time; the table of executions, exec/s, corpus, coverage
# and findings goes to bench/fuzz/results.md. Options as scripts/fuzz.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
exec bash scripts/fuzz.sh --long "$@"
