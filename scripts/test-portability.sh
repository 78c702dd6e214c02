#!/usr/bin/env bash
# Builds the library, the Gateway and their tests for other machines and runs the tests under QEMU: for the machines
# named as arguments, or for all. Ends with a table of what passed and failed; any failure ends the script with a
# failure. It takes long, and test.sh does not call it.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# For each: its name for Debian's compilers, its name for QEMU, and how its programs name it in their bytes 18 and 19.
declare -A known_machines=(
    [i686]='i686 i386 \x03\x00'
    [s390x]='s390x s390x \x00\x16'
    [arm64]='aarch64 aarch64 \xb7\x00'
)

# Tests that start programs, be it themselves in another process. They are left out where the kernel (before 6.7, or in
# some containers) lets nobody but root say what runs the programs of another machine.
starting_programs='^(AProgramInC|(By/)?FirstUse|FreshLibrary|FreshProcess|FirstCallsOfSeveralThreads|Initialisation)\.'
starting_programs+='|^gateway\.(Daemon|Signals/EndingSignal|Kinds/WrongUsage)\.'

# What a process has mapped is, under QEMU, what QEMU has mapped for it.
measuring_memory='^gateway\.RunningServer\.TakesConnectionsInThousandsOneAfterTheOther$'

use_machine() {
    machine=$1
    if [[ ! -v known_machines[$machine] ]]; then
        echo "There is no machine $machine here, only: ${!known_machines[*]}" >&2
        return 2
    fi
    read -r processor emulated elf_machine <<<"${known_machines[$machine]}"
    build=$PWD/build/$machine
    toolchain=$PWD/cmake/toolchains/$machine.cmake
    results=$build/results.xml
}

# Debian has GoogleTest for these machines in source only.
build_googletest() {
    cmake -S /usr/src/googletest -B "$build/googletest-build" -G Ninja --toolchain "$toolchain" --log-level=WARNING \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$build/googletest"
    cmake --build "$build/googletest-build" --target install
}

# The tools, the examples and the comparison stay out: they need libraries that Debian has only for the machine that it runs on.
build_tests() {
    cmake --preset release -B "$build" --toolchain "$toolchain" --log-level=WARNING -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_PREFIX_PATH="$build/googletest" -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST \
        -DZOLSTATS_BUILD_TOOLS=OFF -DZOLSTATS_BUILD_EXAMPLES=OFF -DZOLSTATS_BUILD_BENCH=OFF
    cmake --build "$build"
}

# Runs a command whose programs may start those of the machine as if they were this one's. The kernel learns how in a
# namespace of its own, which nobody else sees and which ends with the command.
teaching_the_kernel() {
    # shellcheck disable=SC2016 # what is quoted is for the inner shell
    unshare --user --map-root-user --mount bash -c '
        mount -t binfmt_misc none /proc/sys/fs/binfmt_misc && echo "$0" >/proc/sys/fs/binfmt_misc/register && exec "$@"
    ' ":$machine:M:18:$elf_machine::$(command -v "qemu-$emulated"):" "$@"
}

leaving_out() {
    local tests=$1
    shift
    echo "Left out: $tests"
    "$@" -E "$tests"
}

run_tests() {
    local run=(ctest --test-dir "$build" --output-on-failure --no-tests=error)
    run+=(--output-junit "$results" -LE uninstrumented)
    export QEMU_LD_PREFIX=/usr/$processor-linux-gnu
    rm -f "$results"
    if "$build/bin/precompiled_headers" 2>/dev/null; then
        "${run[@]}" || true
    elif teaching_the_kernel true; then
        leaving_out "$measuring_memory" teaching_the_kernel "${run[@]}" || true
    else
        leaving_out "$measuring_memory|$starting_programs" "${run[@]}" || true
    fi
}

test_machine() {
    build_googletest
    build_tests
    run_tests
}

# An attribute of the results' first line: tests, failures, skipped.
figure() {
    grep -m1 -oP "\b$1=\"\K\d+" "$results"
}

print_row() {
    local failed
    failed=$(($(figure failures) + $(figure skipped)))
    printf '%-8s %8d %8d\n' "$machine" $(($(figure tests) - failed)) "$failed"
    all_failed=$((all_failed + failed))
}

export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-2} CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-2}
machines=("$@")
if (($# == 0)); then
    machines=(i686 s390x arm64)
fi

compilers=()
for name in "${machines[@]}"; do
    use_machine "$name"
    compilers+=("g++-$processor-linux-gnu")
done

heading "Packages"
install_packages cmake ninja-build googletest libcli11-dev default-jdk-headless python3 qemu-user "${compilers[@]}"

for name in "${machines[@]}"; do
    use_machine "$name"
    heading "Tests on $machine"
    guarded test_machine
done

heading "Machine, tests passed, tests failed"
all_failed=0
for name in "${machines[@]}"; do
    use_machine "$name"
    print_row
done
((all_failed == 0))
