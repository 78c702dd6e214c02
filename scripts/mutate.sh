#!/usr/bin/env bash
# Changes the library's sources a little, over and over, and tells how many of the changes the tests notice.
# Options: --sample N, --seed S, --jobs J, --module M; see --help. Ctrl-C shows the result so far.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

heading "Packages"
install_packages "${test_packages[@]}"

heading "Changes"
exec python3 -B tests/mutation/mutate.py "$@"
