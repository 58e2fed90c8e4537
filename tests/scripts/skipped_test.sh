#!/usr/bin/env bash
# The list of skipped tests names each with its reason and no other, however the test skipped.
#   skipped_test.sh SOURCE_FOLDER CTEST
set -euo pipefail
source=$1 ctest=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# write_tests NAME COMMAND SKIP_PROPERTY VALUE ...: what CTest is to run.
write_tests() {
  : >CTestTestfile.cmake
  while [[ $# -gt 0 ]]; do
    printf '%s' "$2" >"$1.sh"
    printf 'add_test(%s /bin/sh %s)\nset_tests_properties(%s PROPERTIES %s "%s")\n' \
      "$1" "$folder/$1.sh" "$1" "$3" "$4" >>CTestTestfile.cmake
    shift 4
  done
  "$ctest" --output-junit "$folder/tests.xml" >log 2>&1 || true
}
list() {
  /usr/bin/python3 -B "$source/scripts/skipped-tests.py" "$folder/tests.xml"
}
# expect GOT WANTED
expect() {
  [[ $1 == "$2" ]] && return 0
  printf 'got\n%s\ninstead of\n%s\n' "$1" "$2"
  exit 1
}
googletest='\\[  SKIPPED \\]'

write_tests \
  passes 'echo Skipped: not really' SKIP_RETURN_CODE 77 \
  fails 'exit 1' SKIP_RETURN_CODE 77 \
  off 'exit 0' DISABLED ON \
  told 'echo "Skipped: no <mandoc> & no man"' SKIP_REGULAR_EXPRESSION '^Skipped: ' \
  silent 'exit 77' SKIP_RETURN_CODE 77 \
  one 'printf "[ RUN      ] A.B\nx.cpp:23: Skipped\nmounting takes\n  root\n\n[  SKIPPED ] A.B (0 ms)\n"' \
  SKIP_REGULAR_EXPRESSION "$googletest"
expect "$(list)" "off: disabled
told: no <mandoc> & no man
silent: gives no reason
one: mounting takes root"

# CTest calls these skipped, whatever they return.
for failure in '[  FAILED  ] A.B' '==1==ERROR: LeakSanitizer: detected' 'x.cpp:1:2: runtime error: shift'; do
  write_tests hidden "echo 'x.cpp:23: Skipped'; echo why; echo; echo '$failure'; echo '[  SKIPPED ]'; exit 1" \
    SKIP_REGULAR_EXPRESSION "$googletest"
  grep -q 'Skipped   ' log
  if list >shown 2>failed; then
    echo "nobody is told of $failure"
    exit 1
  fi
  expect "$(cat shown)" "hidden: why"
  grep -qF "$failure" failed
done
