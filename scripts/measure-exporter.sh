#!/usr/bin/env bash
# Measures what zolstats-exporter costs, against stand-in Gateways on this machine: a scrape of few and many statistics in
# each format, and one process that looks after as many Gateways as it can. Prints the tables of docs/scaling.md.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

heading "Build"
install_packages "${build_packages[@]}" python3
cmake --preset release -DZOLSTATS_BUILD_TESTS=OFF
cmake --build --preset release -j2 --target zolstats-exporter zol-gateway-sim

heading "Measurement"
ZOLSTATS_EXPORTER=build/release/bin/zolstats-exporter ZOL_GATEWAY_SIM=build/release/bin/zol-gateway-sim \
    guarded python3 -B tests/exporter/measure.py "$@"
