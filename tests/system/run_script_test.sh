#!/usr/bin/env bash
# The first command of a newcomer: what it prints, how it ends, and what it leaves behind.
set -u
project=$1
cd / || exit 1
failed=0

expect() { # WHAT EXPECTED ACTUAL
  if [ "$2" != "$3" ]; then
    printf 'FAILED: %s\n  expected: %s\n  got:      %s\n' "$1" "$2" "$3"
    failed=1
  fi
}

state=$(mktemp -d)
trap 'rm -rf "$state"' EXIT

expect "a value is answered" "standard (Standard)" \
  "$("$project/run" -- settingsctl get picturemode 2>"$state/err" || cat "$state/err")"

expect "a request prints the reply body alone" \
  '{"call_api_success":true,"connect_server":true,"return_data":"standard"}' \
  "$("$project/run" --quiet -- settingsctl request \
    '{"method":"GetItemValue","data":{"menuID":"picturemode"}}' 2>&1)"

"$project/run" --quiet -- sh -c 'exit 7' >/dev/null 2>&1
expect "the command's exit status is the script's" 7 $?

"$project/run" --quiet --dir "$state/set" -- settingsctl set picturemode movie
expect "a set's state is kept in its directory" "movie (Movie)" \
  "$("$project/run" --quiet --dir "$state/set" -- settingsctl get picturemode 2>&1)"

left=$("$project/run" --quiet -- sh -c 'echo "$SETTINGS_ROOT"; readlink "$SETTINGS_ROOT/run"')
for directory in $left; do
  expect "$directory is removed" "" "$(ls -d "$directory" 2>/dev/null)"
done
[ "$(wc -w <<<"$left")" -eq 2 ] || { echo "FAILED: no directories to look for: $left"; failed=1; }

mkdir "$state/full"
echo precious >"$state/full/file"
expect "a directory with other things in it is refused" 2 \
  "$("$project/run" --quiet --dir "$state/full" -- true 2>/dev/null; echo $?)"
expect "a refused directory is left alone" "file" "$(ls -A "$state/full")"

expect "an unknown model is named" 2 "$("$project/run" --model nosuch -- true 2>"$state/err"; echo $?)"
grep -q 'nosuch.*basic' "$state/err" || { echo "FAILED: the models are not listed"; cat "$state/err"; failed=1; }

exit "$failed"
