#!/usr/bin/env bash
# Shows what zolstats does, from nothing: builds the tool and the stand-in Gateway, starts the Gateway on a free loopback
# port, and reads its statistics twice.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# A folder of its own: it is configured with less than test.sh needs.
build=build/demo

show() {
    printf '\n$ zolstat %s\n' "$*"
    "$build/bin/zolstat" --port "$port" "$@"
}

# The lines of the second text that differ from the first, apart from their spacing.
changed_lines() {
    diff --ignore-space-change --unchanged-line-format= --old-line-format= --new-line-format=$'%L' \
        <(echo "$1") <(echo "$2") || true
}

start_gateway() {
    coproc gateway { exec "$build/bin/zol-gateway-sim" --port 0; }
    read -r line <&"${gateway[0]}"
    port=${line##*:}
    echo "$line"
}

stop_gateway() {
    if [[ -n ${gateway_PID-} ]]; then
        local pid=$gateway_PID
        kill "$pid"
        wait "$pid"
    fi
}

heading "Packages"
install_packages "${build_packages[@]}"

heading "Build"
guarded cmake --preset release -B "$build" -DZOLSTATS_BUILD_TESTS=OFF -DZOLSTATS_BUILD_EXAMPLES=OFF --log-level=WARNING
guarded cmake --build "$build" -j2 --target zolstat zol-gateway-sim

heading "A Gateway on this machine"
trap 'end_guarded; stop_gateway' EXIT
start_gateway

heading "Its groups, and their statistics"
show groups
first=$(show stats)
echo "$first"

heading "What has changed in a second reading"
second=$(show stats)
changed_lines "$first" "$second"

heading "Done"
