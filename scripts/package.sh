#!/usr/bin/env bash
# ./dev package: builds the packages under build/package/ and looks at them: lintian, contents, the
# life of an installation. With --check everything is built a second time, elsewhere and without the
# compiler cache, and must come out the same.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
output="$MORLA_SOURCE/build/package"
version="$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)"
check=""
case "$*" in
    '') ;;
    --check) check=yes ;;
    *)
        printf 'usage: ./dev package [--check]\n' >&2
        exit 64
        ;;
esac

# Time and version of what is built: of the last commit, or of the changelog where there is no git.
SOURCE_DATE_EPOCH="$(git log -1 --format=%ct 2>/dev/null ||
    dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp)"
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C.UTF-8
grep -q "^project(morla VERSION $version " CMakeLists.txt || {
    printf 'package: the changelog says version %s, CMakeLists.txt another one\n' "$version" >&2
    exit 1
}

# lay_out FOLDER: the tracked files as they are now, but for their times and modes, which are a
# checkout's own; with the folder debian/ where the tools want it.
lay_out() {
    rm -rf "$1"
    mkdir -p "$1"
    git ls-files -z --deduplicate | xargs -0 -r ls -d 2>/dev/null |
        tar -c --mtime="@$SOURCE_DATE_EPOCH" --mode=u=rwX,go=rX -T - | tar -x -p -C "$1"
    cp -r packaging/debian "$1/debian"
}

# build_debs FOLDER: the .deb packages, beside the folder.
build_debs() {
    (cd "$1" && DEB_BUILD_OPTIONS="nocheck parallel=2" dpkg-buildpackage -b -uc -us) \
        >"$1.log" 2>&1 || { tail -n 40 "$1.log" >&2; return 1; }
}

# stage COMPONENT FOLDER: installs a component as .rpm distributions lay it out, and lists it for the
# recipe: settings are kept on an upgrade, folders of ours belong to the package.
stage() {
    local component="$1" root="$2/staged/$1"
    DESTDIR="$root" cmake --install "$2/obj-x86_64-linux-gnu" --strip --component "$component"
    find "$root" -name '*.a' -exec strip --strip-debug --enable-deterministic-archives {} +
    (
        cd "$root"
        find . -type d \( -path '*/*morla*' -o -path '*/quorvat*' -o -path '*/velmor*' \) -printf '%%dir /%P\n'
        find ./etc -type f -printf '%%config(noreplace) /etc/%P\n' 2>/dev/null
        find . ! -type d ! -path './etc/*' -printf '/%P\n' | sed '/\/man\/man[0-9]\//s/$/*/'
    ) | LC_ALL=C sort >"$2/staged/$component.list"
}

# build_rpms FOLDER: the .rpm packages from the same build, beside the folder.
build_rpms() {
    {
        cmake "$1/obj-x86_64-linux-gnu" -DCMAKE_INSTALL_LIBDIR=lib64 -DCMAKE_INSTALL_SYSCONFDIR=/etc \
            -DMORLA_SYSTEMD_DIR=lib/systemd &&
            cmake --build "$1/obj-x86_64-linux-gnu" -j 2 &&
            stage runtime "$1" && stage development "$1" &&
            rpmbuild -bb --define "_topdir $1/rpm" --define "_rpmdir $(dirname "$1")" \
                --define '_build_name_fmt %%{NAME}-%%{VERSION}-%%{RELEASE}.%%{ARCH}.rpm' \
                --define "staged $1/staged" --define "morla_version $version" \
                packaging/rpm/morla.recipe
    } >"$1.rpm.log" 2>&1 || { tail -n 40 "$1.rpm.log" >&2; return 1; }
}

# build FOLDER: all packages, beside FOLDER/source.
build() {
    mkdir -p "$1"
    rm -f "$1"/*.deb "$1"/*.rpm
    lay_out "$1/source"
    build_debs "$1/source"
    build_rpms "$1/source"
}

# contents: both kinds of package hold the same files, but for the folders of libraries and of man
# pages that are compressed or not.
contents() {
    local normal='s|^\./|/|; s|/lib/x86_64-linux-gnu|/lib64|;
        s|^/lib/systemd|/usr/lib/systemd|; /\/$/d; s|\.gz$||; /^\/usr\/share\/doc\//d;
        /^\/usr\/share\/lintian\//d'
    diff <(for deb in "$output/morla_"*.deb "$output/morla-dev_"*.deb; do
        dpkg-deb --fsys-tarfile "$deb" | tar -t
    done | sed "$normal" | LC_ALL=C sort) \
        <(rpm -qp --qf '[%{FILEMODES:perms} %{FILENAMES}\n]' "$output"/*.rpm 2>/dev/null |
            sed '/^d/d; s/^[^ ]* //' | sed "$normal" | LC_ALL=C sort)
}

need "${build_packages[@]}" git dpkg-dev debhelper lintian rpm systemd
# Not with the cache's base folder: it changes the paths in the debug symbols.
unset CCACHE_BASEDIR CCACHE_NOHASHDIR
if command -v ccache >/dev/null; then
    export MORLA_CMAKE_OPTIONS="-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache"
fi
build "$output"
printf 'package: contents of .deb and .rpm\n'
contents
printf 'package: lintian\n'
lintian --fail-on error,warning --suppress-tags bad-distribution-in-changes-file \
    "$output"/morla{,-dev}_*.deb
printf 'package: life of an installation\n'
tests/packaging/life.sh "$output" ||
    { [ $? -eq 77 ] && printf 'package: NOT tried, this kernel allows no overlay\n'; }
if [ -n "$check" ]; then
    printf 'package: the same once more\n'
    CCACHE_DISABLE=1 build "$MORLA_SOURCE/build/package-again"
    for package in "$output"/*.deb "$output"/*.rpm; do
        cmp "$package" "$MORLA_SOURCE/build/package-again/$(basename "$package")"
    done
fi
(cd "$output" && sha256sum -- *.deb *.rpm)
