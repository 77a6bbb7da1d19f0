#!/bin/sh
# The manual pages refer to pages that are among them, or to the system's.
set -eu
known=" iconv.1 iconv.3 rpcbind.8 $(basename -a "$@" | tr '\n' ' ')"
status=0
pages=$(cat "$@" | sed -E 's/^\.(Xr|BR) ([^ ]+) \(?([0-9])\)?.*/\2(\3)/' |
    grep -oE '[A-Za-z][A-Za-z0-9_-]*\([1-9]\)' | sed -E 's/\((.)\)/.\1/' | sort -u)
for page in $pages; do
    case $known in
    *" $page "*) ;;
    *) echo "FAIL: there is no page $page" >&2; status=1 ;;
    esac
done
exit $status
