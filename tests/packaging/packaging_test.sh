#!/usr/bin/env bash
# What is installed serves those who build on it.
#   packaging_test.sh CASE SOURCE_FOLDER BUILD_FOLDER CMAKE C_COMPILER CXX_COMPILER [LAUNCHER]
set -euo pipefail
case=$1 source=$2 build=$3 cmake=$4 cc=$5 cxx=$6 launcher=${7:-}
here=$source/tests/packaging
prefix=$build/packaging/prefix
work=$build/packaging/$case
rm -rf "$work"
mkdir -p "$work"
# Nothing of the build tree or the caller's surroundings may help.
unset CPATH C_INCLUDE_PATH CPLUS_INCLUDE_PATH LIBRARY_PATH LD_LIBRARY_PATH PKG_CONFIG_PATH
compilers=(-DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx")
[[ -z $launcher ]] || compilers+=(-DCMAKE_CXX_COMPILER_LAUNCHER="$launcher")

# expect GOT WANTED
expect() {
  [[ $1 == "$2" ]] && return 0
  printf 'got\n%s\ninstead of\n%s\n' "$1" "$2"
  exit 1
}
configure() {
  "$cmake" -S "$1" -B "$work" "${compilers[@]}" -DCMAKE_BUILD_TYPE=Debug "${@:2}" \
    >"$work/configure.log" 2>&1 || { cat "$work/configure.log"; exit 1; }
}
version=$("$here/version.sh" "$source")
libdir() {
  dirname "$(find "$prefix" -name libquelcodec.so)"
}
# Which of the libraries that only programs and tests need were looked for.
asked_for() {
  grep -iE '^(SNDFILE|SOXR|OGG|CLI11|GTest|benchmark)[_A-Z]*:' "$work/CMakeCache.txt" || true
}

case $case in
install)
  rm -rf "$prefix"
  "$cmake" --install "$build" --prefix "$prefix" >"$work/log"
  "$source/tests/tools/links.sh" "$prefix/share/doc/quelcodec"
  ;;
find_package)
  # What README.md says to write.
  awk '/^```cmake$/ { inside = 1; next } /^```/ { inside = 0 } inside' "$source/README.md" \
    >"$work/readme.cmake"
  grep -q target_link_libraries "$work/readme.cmake"
  configure "$here/find_package" -DCMAKE_PREFIX_PATH="$prefix" -DREADME="$work/readme.cmake" \
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  "$cmake" --build "$work" >"$work/build.log"
  expect "$("$work/shared_c")" "19 bytes, 144 samples"
  expect "$("$work/program")" "19 bytes, 144 samples"
  expect "$("$work/static_c")" "19 bytes, 144 samples"
  expect "$("$work/shared_cpp")" "20 bytes, 160 samples"
  if ldd "$work/static_c" | grep quelcodec; then exit 1; fi
  ;;
c_only)
  configure "$here/c_only" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  "$cmake" --build "$work" >"$work/build.log" || { tail -n 40 "$work/build.log"; exit 1; }
  expect "$("$work/shared_c")" "19 bytes, 144 samples"
  expect "$("$work/static_c")" "19 bytes, 144 samples"
  ;;
pkg_config)
  export PKG_CONFIG_PATH=$(libdir)/pkgconfig
  expect "$(pkg-config --modversion quelcodec)" "$version"
  # shellcheck disable=SC2046
  "$cc" "$here/program.c" -o "$work/shared" $(pkg-config --cflags --libs quelcodec)
  expect "$(LD_LIBRARY_PATH=$(libdir) "$work/shared")" "19 bytes, 144 samples"
  # shellcheck disable=SC2046
  "$cc" $(pkg-config --cflags quelcodec) "$here/program.c" -o "$work/static" \
    -Wl,-Bstatic $(pkg-config --libs quelcodec) -Wl,-Bdynamic \
    $(pkg-config --static --libs-only-l quelcodec | sed 's/-lquelcodec//')
  expect "$("$work/static")" "19 bytes, 144 samples"
  ;;
add_subdirectory)
  configure "$here/add_subdirectory" -DQUELCODEC_SOURCE_DIR="$source"
  expect "$(asked_for)" ""
  "$cmake" --build "$work" --parallel 2 >"$work/build.log" || { tail -n 40 "$work/build.log"; exit 1; }
  expect "$("$work/shared_c")" "19 bytes, 144 samples"
  expect "$("$work/static_c")" "19 bytes, 144 samples"
  # What a project installs is its own business, unless it asks for the library.
  "$cmake" --install "$work" --prefix "$work/prefix" >"$work/install.log"
  expect "$(find "$work/prefix" -type f 2>/dev/null)" ""
  "$cmake" "$work" -DQUELCODEC_INSTALL=ON >"$work/configure.log"
  "$cmake" --install "$work" --prefix "$work/prefix" >"$work/install.log"
  [[ -s $work/prefix/include/quelcodec/quelcodec.h && -n $(find "$work/prefix" -name libquelcodec.so) ]]
  ;;
codec_only)
  # A compiler and nothing else; add_subdirectory builds the same targets.
  configure "$source" -DQUELCODEC_TOOLS=OFF -DQUELCODEC_TESTS=OFF
  expect "$(asked_for)" ""
  # A later compiler's new warning is no reason for a packager's build to fail.
  expect "$(grep -c -e -Werror "$work/compile_commands.json")" 0
  configure "$source" -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
  [[ $(grep -c -e -Werror "$work/compile_commands.json") -gt 0 ]]
  ;;
dlopen)
  "$cc" -std=c99 -Wall -Wextra -Werror "$here/host.c" -o "$work/host" -ldl
  expect "$("$work/host" "$(libdir)/libquelcodec.so")" \
    "0: 2304 samples, 232 bytes, 2304 samples
1: 2304 samples, 304 bytes, 2304 samples
2: 3840 samples, 296 bytes, 3840 samples
3: 2560 samples, 320 bytes, 2560 samples"
  ;;
tools)
  expect "$("$prefix/bin/quel" --version)" "quel $version"
  expect "$("$prefix/bin/quel" --man)" "$(cat "$prefix/share/man/man1/quel.1")"
  for command in $("$prefix/bin/quel" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\) .*/\1/p'); do
    expect "$("$prefix/bin/quel" --man "$command")" "$(cat "$prefix/share/man/man1/quel-$command.1")"
  done
  [[ -n ${command-} ]]
  for shell in bash-completion/completions/quel zsh/site-functions/_quel \
    fish/vendor_completions.d/quel.fish; do
    expect "$("$prefix/bin/quel" --completions "${shell%%[-/]*}")" "$(cat "$prefix/share/$shell")"
  done
  grep -q '^\.TH QUELO 1 ' "$prefix/share/man/man1/quelo.1"
  # The programs find the library beside them, wherever the tree was moved to.
  mv "$prefix" "$prefix.moved"
  trap 'mv "$prefix.moved" "$prefix"' EXIT
  expect "$("$prefix.moved/bin/quel" --version)" "quel $version"
  ;;
*)
  echo "No case $case" >&2
  exit 2
  ;;
esac
