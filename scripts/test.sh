#!/usr/bin/env bash
# Sets up a Debian machine, then builds and runs every check of the project. The last line is ctest's summary of the
# full run; any failure ends the script with a failure.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

sources() {
    find include source gateway tools tests examples bench '(' -name '*.[ch]' -o -name '*.[ch]pp' ')' -print0
}

check_format() {
    sources | xargs -0 clang-format --dry-run --Werror
}

build_with_clang() {
    CC=clang CXX=clang++ cmake --preset release -B build/clang -DZOLSTATS_BUILD_TESTS=OFF -DZOLSTATS_BUILD_BENCH=ON
    cmake --build build/clang -j2
}

lint() {
    find source -name '*.cpp' -print0 | xargs -0 -n1 -P2 clang-tidy -p build/clang --quiet --warnings-as-errors='*'
}

# Builds a target of a preset and runs its tests. The words after these two are put before each command.
run_preset() {
    local preset=$1 target=$2
    shift 2
    "$@" cmake --preset "$preset"
    "$@" cmake --build --preset "$preset" --target "$target" -j2
    "$@" ctest --preset "$preset" -j2
}

# Each target for some seconds, two at a time.
fuzz_targets() {
    local seconds=20
    find tests/fuzz/corpus -mindepth 1 -maxdepth 1 -type d -printf '%f\n' | sort |
        xargs -P2 -I{} scripts/fuzz.sh {} "$seconds"
}

# ThreadSanitizer needs certain addresses, which the wide randomisation of newer kernels may take.
fixed_addresses=()
if setarch -R true 2>/dev/null; then
    fixed_addresses=(setarch -R)
fi

heading "Packages"
install_packages "${test_packages[@]}" "${bench_packages[@]}" clang clang-format clang-tidy libclang-rt-14-dev \
    abigail-tools binutils chromium chromium-driver doxygen dpkg-dev fakeroot jq lintian man-db prometheus \
    openssl python3-jsonschema python3-prometheus-client python3-selenium systemd zsh

heading "Format"
guarded check_format

heading "Build with clang"
guarded build_with_clang

heading "Lint"
guarded lint

heading "Tests under AddressSanitizer and UndefinedBehaviorSanitizer"
guarded run_preset asan all

heading "Fuzzing"
guarded fuzz_targets

heading "Tests with threads under ThreadSanitizer"
guarded run_preset tsan threaded_tests "${fixed_addresses[@]}"

heading "All tests, optimised as installed"
guarded run_preset release all
