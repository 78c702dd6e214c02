#!/usr/bin/env bash
# Fuzzes one target for a while, keeps what it finds for the next time, and tells what the corpora cover.
# scripts/test.sh installs what this needs.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build=build/fuzz
committed=tests/fuzz/corpus

usage() {
    cat >&2 <<'END'
Usage: scripts/fuzz.sh TARGET SECONDS [libFuzzer options]   run a target; a finding is kept under build/fuzz/artifacts
       scripts/fuzz.sh --keep TARGET                        add to the target's corpus what runs have found
       scripts/fuzz.sh --coverage                           replay all corpora, show what of source/ they reach
END
    echo "Targets: $(targets | paste -sd ' ')" >&2
    exit 2
}

targets() {
    find "$committed" -mindepth 1 -maxdepth 1 -type d -printf '%f\n' | sort
}

is_target() {
    targets | grep -qxF -e "$1"
}

# A reply may announce a body of nearly 2 GiB, which is allocated before it is read: that is no finding, but slow.
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=64
export UBSAN_OPTIONS=print_stacktrace=1

# Several runs may start at once; one of them builds.
build_fuzzers() {
    local lock
    mkdir -p build
    exec {lock}>build/fuzz.lock
    flock "$lock"
    cmake --preset fuzz --log-level=WARNING >/dev/null
    cmake --build --preset fuzz --target fuzzers -j2 >&2
    exec {lock}<&-
}

fuzzer() {
    local target=$1
    shift
    "$build/bin/fuzz_$target" -dict="tests/fuzz/$target.dict" -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=4096 "$@"
}

# ---- Running

# The last line of a log that tells the edges covered: "#123 DONE cov: 456 ft: 789 corp: 12/3456b ...".
field_of() {
    grep -oE "$2 [0-9]+" "$1" | tail -n1 | grep -oE '[0-9]+' || echo 0
}

summarise() {
    local target=$1 log=$2 verdict=$3
    echo "$target: $(field_of "$log" 'stat::number_of_executed_units:') runs, $(field_of "$log" 'cov:') edges covered," \
        "$(field_of "$log" 'corp:') inputs in the corpus, $verdict"
}

run_target() {
    local target=$1 seconds=$2 log=$build/$1.log
    local working=$build/corpus/$1 artifacts=$build/artifacts/$1
    shift 2
    mkdir -p "$working" "$artifacts"
    if fuzzer "$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$artifacts/" "$@" \
        "$working" "$committed/$target" &>"$log"; then
        summarise "$target" "$log" "no finding"
    else
        tail -n 60 "$log"
        summarise "$target" "$log" "a finding, kept in $artifacts"
        return 1
    fi
}

# ---- Keeping

# An input is kept for the code that it reaches, not for how often it does: the corpus stays small. Inputs are named
# after their content, so that two clones that find the same one agree.
keep() {
    local target=$1 input
    mkdir -p "$build/corpus/$target"
    fuzzer "$target" -merge=1 -use_counters=0 "$committed/$target" "$build/corpus/$target" &>"$build/$target.log"
    for input in "$committed/$target"/*; do
        mv -n "$input" "${input%/*}/$(sha1sum "$input" | cut -c1-12)"
    done
    echo "$target: $(find "$committed/$target" -type f | wc -l) inputs"
}

# ---- Coverage

coverage=build/fuzz-coverage

build_replays() {
    local flags="-fprofile-instr-generate -fcoverage-mapping"
    cmake --preset debug -B "$coverage" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" --log-level=WARNING >/dev/null
    cmake --build "$coverage" --target fuzzers -j2 >&2
}

# The first program is the report's own argument, the others are its options.
show_coverage() {
    local target programs=()
    build_replays
    for target in $(targets); do
        LLVM_PROFILE_FILE="$coverage/$target.profraw" "$coverage/bin/replay_$target" "$committed/$target" >/dev/null
        programs+=(-object "$coverage/bin/replay_$target")
    done
    llvm-profdata-14 merge -o "$coverage/all.profdata" "$coverage"/*.profraw
    llvm-cov-14 report "${programs[@]:1}" -instr-profile="$coverage/all.profdata" \
        -ignore-filename-regex='/(tests|gateway|include)/'
}

is_run() {
    (($# >= 2)) && is_target "$1" && [[ $2 =~ ^[0-9]+$ ]]
}

if [[ $# -eq 1 && $1 == --coverage ]]; then
    install_packages llvm-14
    guarded show_coverage
elif [[ $# -eq 2 && $1 == --keep ]] && is_target "$2"; then
    guarded build_fuzzers
    guarded keep "$2"
elif is_run "$@"; then
    guarded build_fuzzers
    guarded run_target "$@"
else
    usage
fi
