#!/usr/bin/env bash
# Makes Debian packages of laid down components: make_debs.sh FOLDER OUTPUT, where FOLDER has one for each component.
# Run by cpack; it changes FOLDER, and neither builds nor installs anything. Without SOURCE_DATE_EPOCH the packages get
# the date of their changelog.
set -euo pipefail

staging=$(realpath -- "$1")
output=$(realpath -- "$2")
cd "$(dirname "${BASH_SOURCE[0]}")"
version=$(dpkg-parsechangelog -SVersion)
export LC_ALL=C
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(dpkg-parsechangelog -STimestamp)}

# The library comes first: what others depend on is read from its symbols.
declare -A component=([libzolstats1]=runtime [libzolstats-dev]=development [zolstats-tools]=tools
    [zolstats-exporter]=exporter)
packages=(libzolstats1 libzolstats-dev zolstats-tools zolstats-exporter)

folder_of() {
    echo "$staging/${component[$1]}"
}

# ---- Content

add_compressed() {
    gzip -n9 <"$1" | install -D -m 644 /dev/stdin "$2"
}

add_documents() {
    local documents
    documents=$(folder_of "$1")/usr/share/doc/$1
    install -D -m 644 debian/copyright "$documents/copyright"
    add_compressed debian/changelog "$documents/changelog.Debian.gz"
    add_compressed ../CHANGELOG.md "$documents/changelog.gz"
}

add_overrides() {
    install -D -m 644 debian/lintian-overrides "$(folder_of "$1")/usr/share/lintian/overrides/$1"
}

# A page that is a link to another becomes a link to the compressed one.
compress_manual() {
    local manual page
    manual=$(folder_of "$1")/usr/share/man
    [[ -d $manual ]] || return 0
    find "$manual" -type f ! -name '*.gz' -exec gzip -n9 {} +
    find "$manual" -type l ! -name '*.gz' | while read -r page; do
        ln -s "$(readlink "$page").gz" "$page.gz"
        rm "$page"
    done
}

# What lies below the prefix where it is installed without packages.
move_settings() {
    if [[ -d $(folder_of "$1")/usr/etc ]]; then
        mv "$(folder_of "$1")/usr/etc" "$(folder_of "$1")/etc"
    fi
}

programs_and_libraries() {
    local file
    find "$(folder_of "$1")" -type f | sort | while read -r file; do
        if cmp -s -n 4 "$file" <(printf '\177ELF'); then
            echo "$file"
        fi
    done
}

strip_symbols() {
    programs_and_libraries "$1" |
        xargs -r -d '\n' strip --strip-unneeded --remove-section=.comment --remove-section=.note
    find "$(folder_of "$1")" -name '*.a' -exec strip --strip-debug --remove-section=.comment \
        --enable-deterministic-archives {} +
}

# ---- Control files

# Fails when the library has other names than its list of symbols.
add_symbols() {
    local list=$staging/$1.symbols
    if [[ -e debian/$1.symbols ]]; then
        sed "s/@VERSION@/$version/" "debian/$1.symbols" >"$list"
        dpkg-gensymbols -p"$1" -P"$(folder_of "$1")" -I"$list" -O"$(folder_of "$1")/DEBIAN/symbols" -c4
    fi
}

add_as_they_are() {
    local kind
    for kind in shlibs triggers postinst prerm postrm; do
        if [[ -e debian/$1.$kind ]]; then
            cp "debian/$1.$kind" "$(folder_of "$1")/DEBIAN/$kind"
        fi
    done
}

# Settings are their owner's: the package manager keeps what he has changed, and asks.
list_settings() {
    if [[ -d $(folder_of "$1")/etc ]]; then
        (cd "$(folder_of "$1")" && find etc -type f -printf '/%p\n' | sort >DEBIAN/conffiles)
    fi
}

find_dependencies() {
    local files
    mapfile -t files < <(programs_and_libraries "$1")
    if ((${#files[@]})); then
        dpkg-shlibdeps -S"$(folder_of libzolstats1)" -O "${files[@]}"
    fi
}

add_control() {
    find_dependencies "$1" >"$staging/$1.substvars"
    dpkg-gencontrol -p"$1" -P"$(folder_of "$1")" -T"$staging/$1.substvars" -f"$staging/files"
}

add_checksums() {
    (cd "$(folder_of "$1")" && find usr -type f -print0 | sort -z | xargs -0 md5sum >DEBIAN/md5sums)
}

# ---- Packages

# Neither who built the package, nor when, nor under which umask, is to be seen in it.
make_alike() {
    chmod -R u=rwX,go=rX "$(folder_of "$1")"
    find "$(folder_of "$1")" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
}

make_package() {
    mkdir "$(folder_of "$1")/DEBIAN"
    add_documents "$1"
    add_overrides "$1"
    move_settings "$1"
    compress_manual "$1"
    strip_symbols "$1"
    add_symbols "$1"
    add_as_they_are "$1"
    list_settings "$1"
    add_control "$1"
    add_checksums "$1"
    make_alike "$1"
    dpkg-deb --root-owner-group --threads-max=1 -Zxz --build "$(folder_of "$1")" "$output"
}

for package in "${packages[@]}"; do
    make_package "$package"
done
