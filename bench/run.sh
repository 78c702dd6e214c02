#!/usr/bin/env bash
# Measures the library beside other clients and beside what is possible at all, and prints a report: see
# docs/performance.md. Measuring takes less than three minutes. Fails when something did not run, or when not all have
# read the same values; never because of a time.
#   bench/run.sh
#   bench/run.sh --smoke    everything for a moment only, to see that it works: the figures mean nothing
# With a build folder in ZOLSTATS_BENCH_BUILD nothing is installed or built. ZOLSTATS_BENCH_GATEWAY takes the place of the
# Gateway program, for the test of the checks.
set -euo pipefail
# shellcheck source=../scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/../scripts/common.sh"

build=$(realpath -m "${ZOLSTATS_BENCH_BUILD:-build/bench}")
time_limit=175

# For how many seconds each thing is measured.
declare -A seconds=([one_core]=8 [two_cores]=4 [many]=20 [scaling]=4 [open_close]=5 [trace]=6 [in_memory]=15)
scaling_sizes=10,100,1000,10000,100000,1000000
if [[ ${1-} == --smoke ]]; then
    scaling_sizes=10,100,1000,10000,100000
    for each in "${!seconds[@]}"; do
        seconds[$each]=0.01
    done
elif (($#)); then
    echo "usage: bench/run.sh [--smoke]" >&2
    exit 2
fi

# ---- Servers: each on a loopback port of its own; nothing that they write is kept

declare -A ports pids
scratch=
postgres_folder=
postgres_bin=

# PostgreSQL refuses to run as root.
as_postgres=()
if ((EUID == 0)); then
    as_postgres=(--reuid=postgres --regid=postgres --clear-groups)
fi

make_folders() {
    scratch=$(mktemp -d "$build/run.XXXXXX")
    chmod 755 "$scratch"
    postgres_folder=$scratch
    if ! setpriv "${as_postgres[@]}" test -x "$scratch"; then
        postgres_folder=$(mktemp -d)
    fi
    mkdir "$postgres_folder/postgres"
    if ((EUID == 0)); then
        chmod 755 "$postgres_folder"
        chown postgres "$postgres_folder/postgres"
    fi
}

remove_folders() {
    rm -rf "$scratch" "$postgres_folder"
}

# Servers end with this script even when it is killed.

launch_gateway() {
    exec setpriv --pdeathsig INT "${ZOLSTATS_BENCH_GATEWAY:-$build/bin/bench-gateway}"
}

launch_redis() {
    exec setpriv --pdeathsig INT redis-server --bind 127.0.0.1 --port "$1" --save '' --appendonly no --dir "$scratch"
}

launch_postgres() {
    cd "$postgres_folder/postgres"
    exec setpriv --pdeathsig INT "${as_postgres[@]}" "$postgres_bin/postgres" -D data -p "$1" \
        -c listen_addresses=127.0.0.1 -c unix_socket_directories= -c max_connections=10 \
        -c fsync=off -c autovacuum=off -c jit=off
}

gateway_is_ready() {
    ports[gateway]=$(<"$scratch/gateway.log")
    [[ -n ${ports[gateway]} ]]
}

redis_is_ready() {
    grep -q 'Ready to accept connections' "$scratch/redis.log"
}

postgres_is_ready() {
    grep -qs '^ready' "$postgres_folder/postgres/data/postmaster.pid"
}

is_running() {
    kill -0 "$1" 2>/dev/null
}

# Wait until a server that was launched is ready; false when it has ended, or takes too long.
has_started() {
    local attempt
    for ((attempt = 0; attempt < 200; ++attempt)); do
        if "$1_is_ready"; then
            return 0
        fi
        is_running "${pids[$1]}" || return 1
        sleep 0.1
    done
    return 1
}

# A port that is taken ends the server at once; then another one is tried.
start() {
    local attempt
    for ((attempt = 0; attempt < 10; ++attempt)); do
        ports[$1]=$((20000 + RANDOM % 12000))
        : >"$scratch/$1.log"
        "launch_$1" "${ports[$1]}" >"$scratch/$1.log" 2>&1 &
        pids[$1]=$!
        if has_started "$1"; then
            return
        fi
        end_server "${pids[$1]}"
    done
    cat "$scratch/$1.log" >&2
    return 1
}

end_server() {
    local attempt
    kill -INT "$1" 2>/dev/null || true
    for ((attempt = 0; attempt < 50; ++attempt)); do
        is_running "$1" || break
        sleep 0.1
    done
    kill -KILL "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}

end_servers() {
    local pid
    for pid in "${pids[@]}"; do
        end_server "$pid"
    done
}

start_servers() {
    start gateway
    start redis
    postgres_bin=$(printf '%s\n' /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
    (cd "$postgres_folder/postgres" && guarded setpriv "${as_postgres[@]}" "$postgres_bin/initdb" -D data \
        --username=postgres --auth=trust --no-locale --encoding=UTF8 --no-sync) >"$scratch/initdb.log"
    start postgres
}

# ---- Processors

# Those that this process may use, one a line.
allowed_cores() {
    local list range
    list=$(taskset -cp $$)
    list=${list##*: }
    for range in ${list//,/ }; do
        seq "${range%-*}" "${range#*-}"
    done
}

# Servers go to the first given processor, and what is measured from now on to the second.
use_cores() {
    local pid
    for pid in "${pids[@]}"; do
        taskset -a -cp "$1" "$pid" >/dev/null
    done
    client_core=$2
}

# ---- Measurements

measure() {
    local program=$1 left=$((time_limit - SECONDS + measuring_start))
    shift
    if ((left <= 0)); then
        echo "Measuring takes more than $time_limit seconds" >&2
        exit 1
    fi
    guarded timeout --verbose --kill-after=5 "$left" \
        taskset -c "$client_core" "$build/bin/bench-$program" --gateway "${ports[gateway]}" --redis "${ports[redis]}" \
        --postgres "${ports[postgres]}" --results "$scratch/results" --scratch "$scratch" "$@"
}

package_version() {
    dpkg-query -W -f='${Version}' "$1" 2>/dev/null || echo unknown
}

describe_machine() {
    echo "date        $(date -u +%F)"
    echo "machine     $(nproc) x $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)"
    echo "kernel      $(uname -srm)"
    echo "compiler    $(sed -n 's/^CMAKE_CXX_COMPILER:[^=]*=//p' "$build/CMakeCache.txt" | head -n 1 |
        xargs -I{} sh -c '{} --version' | head -n 1)"
    echo "library     $(git describe --always --dirty 2>/dev/null || echo unknown)"
    echo "Redis       $(package_version redis-server), hiredis $(package_version libhiredis-dev)"
    echo "PostgreSQL  $(package_version postgresql-15), libpq $(package_version libpq-dev)"
}

if [[ -z ${ZOLSTATS_BENCH_BUILD-} ]]; then
    heading "Packages"
    install_packages "${build_packages[@]}" "${bench_packages[@]}"
    heading "Build"
    guarded cmake --preset bench --log-level=WARNING
    guarded cmake --build --preset bench --target bench/all -j2
fi

heading "Machine"
describe_machine

trap 'end_guarded; end_servers; remove_folders' EXIT
make_folders
start_servers
mapfile -t cores < <(allowed_cores)
if ((${#cores[@]} == 1)); then
    echo "There is one core only: whatever is said of two below was measured on it"
fi
measuring_start=$SECONDS

use_cores "${cores[0]}" "${cores[0]}"
measure fill --sizes 10,100,1000,100000

heading "Query and walk: client and servers on one core"
measure compare --sizes 10,100,1000 --label one_core --seconds "${seconds[one_core]}"

heading "Query and walk: client and servers on a core each"
use_cores "${cores[-1]}" "${cores[0]}"
measure compare --sizes 10,100,1000 --label two_cores --seconds "${seconds[two_cores]}"
measure compare --sizes 100000 --label two_cores --seconds "${seconds[many]}"

heading "What a query and a walk need"
measure count --sizes 10,100,1000,100000

heading "From few to many: client and Gateway on a core each"
measure scaling --sizes "$scaling_sizes" --seconds "${seconds[scaling]}"

heading "Opening and closing a connection: client and Gateway on one core"
use_cores "${cores[0]}" "${cores[0]}"
measure open_close --seconds "${seconds[open_close]}"

heading "Query and walk with trace: client and Gateway on one core"
measure trace --sizes 1000 --seconds "${seconds[trace]}"

heading "In memory"
measure in_memory --sizes 100,1000,100000 --seconds "${seconds[in_memory]}"

heading "Targets"
measure targets

heading "Done: all have read the same values"
