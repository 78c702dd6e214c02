# shellcheck shell=bash
# What the scripts here and bench/run.sh share: the project's root, headings, packages, and an end that leaves no process behind.
# Sourced, not run. It changes to the root, so that the callers work from any folder.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit

heading() {
    printf '\n== %s (after %d s)\n' "$1" "$SECONDS"
}

# Debian's packages, from Debian's own tools: what the programs are built with, what they are compared with,
# and what the tests need besides.
# shellcheck disable=SC2034  # used where this is sourced
build_packages=(cmake ninja-build g++ libcli11-dev libcrypt-dev libfmt-dev libgnutls28-dev libmicrohttpd-dev
    libncurses-dev libre2-dev libyaml-cpp-dev nlohmann-json3-dev pkg-config zlib1g-dev)
# shellcheck disable=SC2034  # likewise
bench_packages=(libbenchmark-dev libhiredis-dev libpq-dev postgresql redis-server)
# shellcheck disable=SC2034  # likewise
test_packages=("${build_packages[@]}" default-jdk-headless libgmock-dev libgtest-dev python3 tmux)

missing_packages() {
    local package
    for package in "$@"; do
        [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || echo "$package"
    done
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "Please install as root: ${missing[*]}" >&2
        return 1
    fi
}

apt() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=600 -o Dpkg::Use-Pty=0 "$@"
}

# Two clones may come here at once, and `apt-get update` does not wait for another: the package manager's folder serves
# as the lock, since no file of ours may lie outside the build folder.
install_packages() {
    local missing lock
    exec {lock}</var/lib/dpkg
    flock "$lock"
    mapfile -t missing < <(missing_packages "$@")
    if ((${#missing[@]})); then
        echo "Installing: ${missing[*]}"
        apt update
        apt install -y --no-install-recommends "${missing[@]}" >/dev/null
    fi
    exec {lock}<&-
}

# Commands run in a process group of their own, which is ended as a whole when the script is.

group=
guarded() {
    set -m
    "$@" &
    group=$!
    set +m
    wait "$group"
    group=
}

end_guarded() {
    if [[ -n $group ]]; then
        kill -- "-$group" 2>/dev/null || true
        wait "$group" 2>/dev/null || true
    fi
}

trap end_guarded EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP
