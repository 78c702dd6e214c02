#!/usr/bin/env bash
# Runs all tests on a build that counts, and shows which lines and branches of the library they reach. Fails when there
# are too few of them.
# A line site of the trace is one call of a template, whose branch on the level is counted once for all sites together.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build=build/coverage
min_line_percent=97
min_branch_percent=90

# Branches that the compiler makes for exceptions are none of the library's, which is built without them.
collect() {
    gcovr --root . --filter source/ --exclude-throw-branches --exclude-unreachable-branches --json "$build/coverage.json" \
        "$build"
}

show() {
    gcovr --root . --add-tracefile "$build/coverage.json" "$@"
}

# Those of earlier runs.
remove_counters() {
    find "$build" -name '*.gcda' -delete
}

heading "Packages"
install_packages "${test_packages[@]}" gcovr

heading "Build"
guarded cmake --preset coverage --log-level=WARNING
remove_counters
guarded cmake --build --preset coverage -j2

heading "Tests"
guarded ctest --preset coverage -j2

heading "Lines, then branches"
collect
show
show --branches

heading "Gaps"
python3 -B tests/coverage/coverage_gaps.py "$build/coverage.json"

heading "At least $min_line_percent % of the lines and $min_branch_percent % of the branches"
show --fail-under-line "$min_line_percent" --fail-under-branch "$min_branch_percent" --print-summary --txt /dev/null
