#!/usr/bin/env bash
# Makes the project's packages from a clean state: its source as an archive, and Debian packages of what it installs.
#   scripts/package.sh [--source] [output folder]    --source: only the archive; the folder is build/dist without one
# The same source gives the same bytes, wherever and whenever it is built, with the same SOURCE_DATE_EPOCH. Without one
# the date of the packages' changelog is taken.
set -euo pipefail
only_source=
if [[ ${1-} == --source ]]; then
    only_source=yes
    shift
fi
output=$(realpath -m -- "${1:-$(dirname "${BASH_SOURCE[0]}")/../build/dist}")
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build=build/packages

use_the_changelogs_date() {
    export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(dpkg-parsechangelog -l packaging/debian/changelog -STimestamp)}
}

upstream_version() {
    dpkg-parsechangelog -l packaging/debian/changelog -SVersion | sed 's/-[^-]*$//'
}

# In a clone git knows what belongs to the project, in an unpacked archive everything does that is not built.
source_files() {
    if [[ $(git rev-parse --show-toplevel 2>/dev/null) == "$PWD" ]]; then
        git ls-files -z
    else
        find . '(' -path ./build -o -path ./.git -o -path "./$(realpath --relative-to=. "$output")" ')' -prune \
            -o ! -type d -printf '%P\0'
    fi
}

pack_source() {
    local name
    name=zolstats-$(upstream_version)
    source_files | LC_ALL=C sort -z |
        tar --create --format=gnu --owner=0 --group=0 --numeric-owner --mode=u=rwX,go=rX --mtime="@$SOURCE_DATE_EPOCH" \
            --transform="s|^|$name/|S" --no-recursion --null --files-from=- |
        gzip -n9 >"$output/$name.tar.gz"
}

pack_programs() {
    rm -rf "$build"
    cmake --preset packages --log-level=WARNING
    cmake --build --preset packages -j2
    cpack --preset packages
    cp "$build"/*.deb "$output"
}

heading "Packages that building needs"
install_packages "${build_packages[@]}" dpkg-dev

heading "Source"
use_the_changelogs_date
mkdir -p "$output"
guarded pack_source

if [[ ! $only_source ]]; then
    heading "Debian packages"
    guarded pack_programs
fi

heading "Done: $output"
ls -l "$output"
