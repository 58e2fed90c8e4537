#!/usr/bin/env bash
# What the Debian packages hold serves those who install them.
#   deb_test.sh SOURCE_FOLDER BUILD_FOLDER CMAKE C_COMPILER CXX_COMPILER [LAUNCHER]
set -euo pipefail
source=$1 build=$2 cmake=$3 cc=$4 cxx=$5 launcher=${6:-}
here=$source/tests/packaging
work=$build/packaging/deb
root=$work/root usr=$work/root/usr
rm -rf "$work"
mkdir -p "$work"
unset CPATH C_INCLUDE_PATH CPLUS_INCLUDE_PATH LIBRARY_PATH LD_LIBRARY_PATH PKG_CONFIG_PATH
architecture=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
version=$("$here/version.sh" "$source")
library=libquelcodec${version%%.*} dev=libquelcodec-dev tools=quelcodec-tools

fail() {
  printf '%s\n' "$*"
  exit 1
}
# expect WHAT GOT WANTED
expect() {
  [[ $2 == "$3" ]] || fail "$1: got
$2
instead of
$3"
}
field() {
  dpkg-deb -f "$work/$1"_*.deb "$2"
}

(cd "$work" && cpack -G DEB --config "$build/CPackConfig.cmake" >log 2>&1) || { cat "$work/log"; exit 1; }
expect "Packages" "$(cd "$work" && ls ./*.deb | sed 's/^..//; s/_.*//')" "$dev
$library
$tools"
for package in $library $dev $tools; do
  dpkg-deb -x "$work/$package"_*.deb "$work/$package"
  dpkg-deb -x "$work/$package"_*.deb "$root"
  cmp "$work/$package/usr/share/doc/$package/copyright" "$source/LICENSE"
  # Lines that start with a space are the long description.
  field $package Description >"$work/$package.description"
  [[ $(grep -c '^ ' "$work/$package.description") -ge 3 ]] || fail "$package has no long description"
done
expect "Different descriptions" "$(head -qn 1 "$work"/*.description | sort -u | wc -l)" 3
expect "Different long descriptions" "$(tail -qn 1 "$work"/*.description | sort -u | wc -l)" 3

# ---- Where things are ----
for file in bin/quel bin/quelo share/bash-completion/completions/quel \
  share/zsh/vendor-completions/_quel share/fish/vendor_completions.d/quel.fish \
  include/quelcodec/quelcodec.h "share/doc/$dev/README.md"; do
  [[ -s $usr/$file ]] || fail "no /usr/$file"
done
expect "Folders of libraries" "$(ls "$usr/lib")" "$architecture"
expect "The library's files" "$(ls "$work/$library/usr/lib/$architecture")" \
  "libquelcodec.so.${version%%.*}
libquelcodec.so.$version"
"$source/tests/tools/links.sh" "$usr/share/doc/$dev"
expect "Pages in other packages" "$(find "$work/$library" "$work/$tools" -name '*.md')" ""

# ---- The library alone: what a media host and packages of others need ----
"$cc" -std=c99 -Wall -Wextra -Werror "$here/host.c" -o "$work/host" -ldl
expect "A host of the plug-in" \
  "$(LD_LIBRARY_PATH=$work/$library/usr/lib/$architecture "$work/host" "libquelcodec.so.${version%%.*}" | tail -n 1)" \
  "3: 2560 samples, 320 bytes, 2560 samples"
expect "What depends on the library" "$(dpkg-deb -I "$work/$library"_*.deb shlibs)" \
  "libquelcodec ${version%%.*} $library (>= $version)"

# ---- Programs and their manual ----
[[ $(field $tools Depends) == *"$library (= $version)"* ]] || fail "$tools works with any library"
if readelf -d "$usr/bin/quel" "$usr/bin/quelo" | grep -E 'RPATH|RUNPATH'; then
  fail "the programs look for the library in folders of their own"
fi
export LD_LIBRARY_PATH=$usr/lib/$architecture
expect "The program" "$("$usr/bin/quel" --version)" "quel $version"
expect "Pages that are not compressed" "$(find "$usr/share/man" -type f ! -name '*.1.gz')" ""
for command in '' $("$usr/bin/quel" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\) .*/\1/p'); do
  page=$usr/share/man/man1/quel${command:+-$command}.1.gz
  # shellcheck disable=SC2086  # the overview's command is no word
  expect "$page" "$(gzip -dc "$page")" "$("$usr/bin/quel" --man $command)"
  expect "The time in $page" "$(od -An -tx1 -j4 -N4 "$page")" " 00 00 00 00"
done
[[ -n ${command-} ]]
gzip -dc "$usr/share/man/man1/quelo.1.gz" | cmp - "$source/tools/quelo.1"

# ---- Building on it ----
[[ $(field $dev Depends) == *"$library (= $version)"* ]] || fail "$dev works with any library"
pc=$usr/lib/$architecture/pkgconfig
# As they would be read once installed below /.
expect "pkg-config's headers" \
  "$(realpath "$(PKG_CONFIG_PATH=$pc pkg-config --variable=includedir quelcodec)")" "$(realpath "$usr/include")"
expect "pkg-config's library" \
  "$(realpath "$(PKG_CONFIG_PATH=$pc pkg-config --variable=libdir quelcodec)")" "$(realpath "$usr/lib/$architecture")"
compilers=(-DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx")
[[ -z $launcher ]] || compilers+=(-DCMAKE_CXX_COMPILER_LAUNCHER="$launcher")
awk '/^```cmake$/ { inside = 1; next } /^```/ { inside = 0 } inside' "$source/README.md" >"$work/readme.cmake"
"$cmake" -S "$here/find_package" -B "$work/user" "${compilers[@]}" -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_PREFIX_PATH="$usr" -DREADME="$work/readme.cmake" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
  >"$work/configure.log" 2>&1 || { cat "$work/configure.log"; exit 1; }
"$cmake" --build "$work/user" --target shared_c static_c >"$work/build.log" 2>&1 || { cat "$work/build.log"; exit 1; }
for program in shared_c static_c; do
  expect $program "$("$work/user/$program")" "19 bytes, 144 samples"
done
