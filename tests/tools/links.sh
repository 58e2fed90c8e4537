#!/usr/bin/env bash
# Every file that the pages in FOLDER and below its docs/ link to is there.
#   links.sh FOLDER
set -euo pipefail
cd "$1"
pages=0 dead=0
for page in *.md $(find docs -name '*.md'); do
  pages=$((pages + 1))
  while read -r link; do
    [[ -z $link || -e $(dirname "$page")/$link ]] && continue
    echo "$page links to $link, which is not there"
    dead=1
  done < <({ grep -oE '\]\([^)#:]+[)#]' "$page" || true; } | tr -d '()]#')
done
[[ $pages -gt 5 ]] || { echo "only $pages pages in $1"; exit 1; }
exit "$dead"
