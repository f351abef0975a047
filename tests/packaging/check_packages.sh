#!/usr/bin/env bash
# Usage: check_packages.sh CPACK BUILD_FOLDER WORK_FOLDER VERSION LIBDIR
# Builds the Debian packages of a build and fails unless each holds its files, and no other's, with the fields that an
# installation goes by.

set -euo pipefail
export LC_ALL=C
cpack=$1 build=$2 work=$3 version=$4 libdir=$5

rm -rf "$work"
mkdir -p "$work"
"$cpack" --config "$build/CPackConfig.cmake" -G DEB -B "$work" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }

failures=0
fail() {
    echo "$*"
    failures=1
}

soversion=${version%.*}
library=libqormath$soversion
archive=()
declare -A files fields
for package in "$library" libqormath-dev qormath; do
    found=("$work/${package}_$version-1_"*.deb)
    if [ ! -f "${found[0]}" ]; then
        cat "$work/log"
        fail "there is no package $package"
        exit 1
    fi
    files[$package]=$(dpkg-deb --fsys-tarfile "${found[0]}" | tar t | grep -v '/$' | sed 's|^\./||' | sort)
    fields[$package]=$(dpkg-deb --field "${found[0]}")
    archive[${#archive[@]}]=${found[0]}
done

holds() {  # package regular-expression
    grep -qxE "$2" <<<"${files[$1]}" || fail "$1 does not hold $2"
}

# Each package's files and no others: what is left after all that belongs is struck out.
holdsNothingBut() {  # package regular-expression
    local others
    others=$(grep -vxE "$2" <<<"${files[$1]}" || true)
    [ -z "$others" ] || fail "$1 holds what does not belong there:"$'\n'"$others"
}

field() {  # package name
    sed -nE "s/^$2: //p" <<<"${fields[$1]}"
}

says() {  # package field regular-expression
    grep -qE "$3" <<<"$(field "$1" "$2")" || fail "$1: $2 is '$(field "$1" "$2")', expected like $3"
}

for package in "${!files[@]}"; do
    for file in copyright changelog.gz changelog.Debian.gz; do
        holds "$package" "usr/share/doc/$package/$file"
    done
    says "$package" Version "^$version-1$"
    says "$package" Source '^qormath$'
    says "$package" Maintainer '^[^<]+ <[^>]+>$'
    [ "$(wc -l <<<"$(sed -n '/^Description:/,/^[A-Z]/p' <<<"${fields[$package]}" | grep '^ ')")" -gt 3 ] ||
        fail "$package has no long description"
done
doc='usr/share/doc/[^/]+/(copyright|changelog(\.Debian)?\.gz)'

holds "$library" "usr/$libdir/libqormath\.so\.$soversion"
holds "$library" "usr/$libdir/libqormath\.so\.$version"
holdsNothingBut "$library" "usr/$libdir/libqormath\.so\.[0-9.]+|$doc"
says "$library" Section '^libs$'
says "$library" Depends 'libc6.*libstdc\+\+6'
dpkg-deb --ctrl-tarfile "${archive[0]}" | tar x --to-stdout ./shlibs |
    grep -qx "libqormath $soversion $library (= $version-1)" ||
    fail "$library tells other packages no dependency on it"

holds libqormath-dev "usr/$libdir/libqormath\.so"
holds libqormath-dev "usr/$libdir/libqormath_static\.a"
holds libqormath-dev "usr/$libdir/pkgconfig/qormath\.pc"
holds libqormath-dev "usr/$libdir/cmake/QorMath/QorMathConfig\.cmake"
holds libqormath-dev 'usr/include/qormath/qormath\.hpp'
holds libqormath-dev 'usr/include/qormath/version\.hpp'
libraries='libqormath(\.so|_static\.a)|pkgconfig/qormath\.pc|cmake/QorMath/[A-Za-z-]+\.cmake'
holdsNothingBut libqormath-dev "usr/include/qormath/.*\.h(pp)?|usr/$libdir/($libraries)|$doc"
says libqormath-dev Section '^libdevel$'
says libqormath-dev Depends "^$library \(= $version-1\), .*liblapacke-dev"

holds qormath usr/bin/qormath
holds qormath 'usr/share/man/man1/qormath\.1\.gz'
holds qormath usr/share/bash-completion/completions/qormath
holdsNothingBut qormath "usr/bin/qormath|usr/share/(man/man1/qormath\.1\.gz|bash-completion/completions/qormath)|$doc"
says qormath Depends "^$library \(= $version-1\), .*libc6"

# No package tells the loader where to look: the library is where the loader looks anyway.
for file in "${archive[@]}"; do
    dpkg-deb --extract "$file" "$work/root"
done
for file in "$work/root/usr/bin/qormath" "$work/root/usr/$libdir/libqormath.so.$version"; do
    if readelf -d "$file" | grep -E 'R(UN)?PATH'; then
        fail "$file has a path for the loader"
    fi
done
exit $failures
