#!/usr/bin/env bash
# Builds the library as it is installed, uses it for a minute, and fails when its memory or its descriptors grow.
#   scripts/soak.sh [queries [cycles]]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

heading "Packages"
install_packages "${test_packages[@]}"

heading "Build"
guarded cmake --preset release --log-level=WARNING
guarded cmake --build --preset release --target soak -j2

heading "Soak"
guarded build/release/bin/soak "$@"

heading "Done"
