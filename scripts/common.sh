# Sourced by the scripts here: their shared steps.

# section TITLE: a header that is easy to find in a long log.
section() {
  printf '\n======== %s ========\n' "$1"
}

# need PACKAGE...: installs with apt-get what is missing; does nothing where all is there.
need() {
  if ! command -v dpkg-query >/dev/null; then
    echo "This is no Debian system; it needs what these packages hold: $*"
    return 0
  fi
  local missing=() package as_root=()
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      missing+=("$package")
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0
  section "Installing ${missing[*]}"
  if [[ $(id -u) -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
      echo "Not root and no sudo; run: apt-get install ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  local install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
    apt-get install -y -q --no-install-recommends "${missing[@]}")
  # Package lists may be missing or stale; fetching them takes a while, so only then.
  "${install[@]}" </dev/null && return 0
  "${as_root[@]}" apt-get update -q </dev/null && "${install[@]}" </dev/null
}

# configure_sanitized FOLDER: clang's build in which the tests and the fuzzers look for bounds,
# undefined behaviour and leaks, at the first fault. Assertions are on, the standard library's too:
# an index one past a vector's end points at memory that is there.
configure_sanitized() {
  configure "$1" -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -D_GLIBCXX_ASSERTIONS" \
    -DQUELCODEC_FUZZ=ON -DQUELCODEC_BENCH=ON -DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld \
    -DQUELCODEC_SANITIZE=address,undefined,float-cast-overflow,fuzzer-no-link
}

# configure FOLDER OPTION...: CMake with Ninja, warnings being errors, and with ccache where there is
# one. Fails where the project does not know an option: a build without its sanitizer, say, would
# pass everything.
configure() {
  local folder=$1 log launcher=()
  shift
  if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
  log=$(cmake -S . -B "$folder" -G Ninja -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
    "${launcher[@]}" "$@" 2>&1) || {
    echo "$log"
    return 1
  }
  echo "$log"
  # Of a toolchain file CMake takes no notice in a folder that already has it.
  ! sed -n '/variables were not used/,/^--/p' <<<"$log" | grep '^    [A-Z]' |
    grep -vx ' *CMAKE_TOOLCHAIN_FILE'
}

# source_state PATH...: a short name of what these files and folders hold; results are kept under it,
# so that no table shows what older sources gave.
source_state() {
  find "$@" -type f | LC_ALL=C sort | xargs sha256sum | sha256sum | cut -c 1-16
}

# own_mounts SCRIPT ARGUMENT...: starts the script again where nobody else sees what it mounts. That is
# gone with the script, whatever ends it.
own_mounts() {
  [[ $(id -u) -eq 0 ]] || { echo "Needs root, for debootstrap and chroot" >&2; exit 1; }
  [[ -n ${QUEL_OWN_MOUNTS-} ]] || QUEL_OWN_MOUNTS=1 exec unshare --mount "$@"
}

# bare_archive FILE: a bare Debian 12 as a tar file, from the mirror that this machine's apt uses.
# One of the last seven days is taken as it is.
bare_archive() {
  local archive=$1 mirror folder
  [[ -z $(find "$archive" -mtime -7 2>/dev/null) ]] || return 0
  need debootstrap || return 1
  mirror=$(apt-get indextargets --format '$(CODENAME) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
    awk '$1 == "bookworm" && $2 == "main" { print $3; exit }')
  [[ -n $mirror ]] || { echo "apt here knows no mirror of Debian 12" >&2; return 1; }
  folder=$(mktemp -d "$archive.XXXXXX") || return 1
  if debootstrap --variant=minbase bookworm "$folder/root" "$mirror" >"$folder/log" 2>&1 &&
    tar -C "$folder/root" --one-file-system -cf "$folder/tar" . && mv "$folder/tar" "$archive"; then
    rm -rf --one-file-system "$folder"
  else
    tail -n 20 "$folder/log"
    rm -rf --one-file-system "$folder"
    return 1
  fi
}

# bare_debian ROOT: a bare Debian 12 in the folder ROOT, with /proc, /sys and /dev. Needs own_mounts.
bare_debian() {
  local root=$1
  mkdir -p build-bare "$root" && bare_archive build-bare/bookworm.tar &&
    tar -C "$root" -xpf build-bare/bookworm.tar || return 1
  # Packages may come with scripts that wake services up; there are none to wake.
  printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
  chmod +x "$root/usr/sbin/policy-rc.d"
  # A mount of its own, since unshare(1) in there wants its root to be one.
  mount --bind "$root" "$root" && mount -t proc proc "$root/proc" &&
    mount -t sysfs -o ro sysfs "$root/sys" && mount --rbind /dev "$root/dev"
}

# in_bare ROOT [VARIABLE=VALUE...] COMMAND...: in a bare Debian, with nothing of this one's environment.
in_bare() {
  local root=$1
  shift
  chroot "$root" env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root "$@"
}

# leave_bare ROOT: unmounts what bare_debian mounted; nothing of /dev is lost when ROOT is removed.
leave_bare() {
  ! mountpoint -q "$1" || umount --recursive --lazy "$1"
}

# fetch_speech FOLDER: puts recorded speech of three Debian packages there, a folder each; they are
# unpacked and not installed. Does nothing where it is there already.
fetch_speech() {
  local package
  # 8 kHz prompts; 16 kHz, read aloud from a novel; 48 kHz, names of loudspeakers.
  for package in asterisk-core-sounds-en-wav pocketsphinx-testdata alsa-utils; do
    [[ ! -e $1/$package/done ]] || continue
    mkdir -p "$1/$package"
    # Root may not be able to hand this folder to apt's own user, which is then not needed.
    (cd "$1" &&
      { apt-get -o APT::Sandbox::User=root download -q "$package" ||
        { apt-get update -q && apt-get -o APT::Sandbox::User=root download -q "$package"; }; }) ||
      return 1
    dpkg -x "$1/$package"_*.deb "$1/$package"
    rm "$1/$package"_*.deb
    touch "$1/$package/done"
  done
}
