#!/usr/bin/env bash
# The first command of a newcomer: what it prints, how it ends, and what it leaves behind.
# shellcheck disable=SC2016  # what is expanded inside the set
set -u
project=$1
cd / || exit 1
failed=0

expect() { # WHAT EXPECTED ACTUAL
  if [ "$2" != "$3" ]; then
    printf 'FAILED: %s\n  expected: %s\n  got:      %s\n' "$1" "$2" "$3"
    failed=1
    return 1
  fi
}

state=$(mktemp -d)
trap 'rm -rf "$state"' EXIT

expect "a value is answered" "standard (Standard)" \
  "$("$project/run" -- settingsctl get picturemode 2>"$state/err" || cat "$state/err")"

# Without a command it shows a set at work, and runs until it is ended.
"$project/run" >"$state/out" 2>"$state/err" &
run=$!
for ((tries = 0; tries < 600; ++tries)); do
  grep -q 'runs until Ctrl-C' "$state/out" && break
  kill -0 "$run" 2>/dev/null || break
  sleep 0.1
done
kill -TERM "$run"
wait "$run"
expect "the set at work ends when it is told to" 143 $?
for line in 'standard (Standard)' 'movie (Movie)' '{"return_data":""}' 'There is no matched method' \
  'mode auto_source_change' 'crosshair  -( )-  status 1, type 2' 'no crosshair' 'mode Terminate'; do
  grep -qF "$line" "$state/out" || { echo "FAILED: not shown: $line"; cat "$state/out" "$state/err"; failed=1; }
done
expect "the lines of the requests begin with the first request" "IfMessageReceived!! message:" \
  "$(sed -n '/^\$ setctl log /{n;p}' "$state/out" | grep -o 'IfMessageReceived!! message:\|m_Initialize\|t_OnCreate')"

# What the README shows first works in a fresh set when it is pasted at once.
examples() { # NUMBER of the block
  sed -n '/^## Looking around/,/^## /p' "$project/README.md" |
    awk -v wanted="$1" '/^```/ { inside = /^```sh/; block += inside; next } inside && block == wanted'
}
examples 1 >"$state/examples"
timeout 200 "$project/run" --quiet -- bash -ev <"$state/examples" >"$state/out" 2>"$state/err"
expect "the examples of the README work in a fresh set" 0 $? || tail -n 3 "$state/err"
expect "the game bar of the README is asked to come" "mode auto_source_change" \
  "$(grep -o 'mode auto_source_change$' "$state/out")"
[ "$(wc -l <"$state/examples")" -ge 12 ] || { echo "FAILED: the README has lost its examples"; failed=1; }

# What it shows then has no end, and is ended when it has begun to print.
examples 2 >"$state/endless"
cat >"$state/play" <<'END'
while IFS= read -r example <&3; do
  tries=0
  rm -f "$1/shown"
  bash -c "exec $example" >"$1/shown" 2>&1 &
  until [ -s "$1/shown" ] || [ $((tries += 1)) -gt 600 ]; do sleep 0.1; done
  kill -TERM $!
  wait $! && [ $tries -le 600 ] || { echo "FAILED: $example"; cat "$1/shown"; }
done 3<"$1/endless"
END
expect "the endless examples of the README work in a fresh set" "" \
  "$("$project/run" --quiet -- bash "$state/play" "$state" 2>&1)"
[ "$(wc -l <"$state/endless")" -ge 2 ] || { echo "FAILED: the README has lost its endless examples"; failed=1; }

expect "a request prints the reply body alone" \
  '{"call_api_success":true,"connect_server":true,"return_data":"standard"}' \
  "$("$project/run" --quiet -- settingsctl request \
    '{"method":"GetItemValue","data":{"menuID":"picturemode"}}' 2>&1)"

"$project/run" --quiet -- sh -c 'exit 7' >/dev/null 2>&1
expect "the command's exit status is the script's" 7 $?

"$project/run" --quiet --dir "$state/set" -- settingsctl set picturemode movie
expect "a set's state is kept in its directory" "movie (Movie)" \
  "$("$project/run" --quiet --dir "$state/set" -- settingsctl get picturemode 2>&1)"

expect "an application is started by the set's bus" "true" \
  "$("$project/run" --quiet -- sh -c 'setctl app start org.pavix.menu &&
    setctl app log org.pavix.menu | grep -q "menu open" && echo true' 2>&1)"

# As on a session bus: in the directory of the user's own data, which need not be that in HOME.
services() { # DIRECTORY
  mkdir -p "$1/dbus-1/services"
  printf '[D-BUS Service]\nName=org.example.mine\nExec=/bin/true\n' >"$1/dbus-1/services/mine.service"
  printf '[D-BUS Service]\nName=org.pavix.menu\nExec=/bin/false\n' >"$1/dbus-1/services/menu.service"
}
services "$state/home/.local/share"
services "$state/data & more"
expect "the user's own applications are found once" 1 \
  "$(env -u XDG_DATA_HOME HOME="$state/home" "$project/run" --quiet -- setctl app list | grep -c org.example.mine)"
expect "the user's own applications are found where XDG_DATA_HOME says" "1 0" \
  "$(XDG_DATA_HOME="$state/data & more" "$project/run" --quiet -- sh -c '
    printf "%s " "$(setctl app list | grep -c org.example.mine)"; setctl app start org.pavix.menu; printf $?' 2>&1)"

apps=$("$project/run" --quiet -- sh -c '
  setctl app start --json org.pavix.menu
  setctl app start --json com.velmora.tv.csfs
  kill -STOP "$(setctl app list --json | sed -n "s/.*tv.csfs.*\"pid\":\([0-9]*\).*/\1/p")"' |
  sed 's/.*"pid":\([0-9]*\).*/\1/')
for pid in $apps; do
  # One that nobody waits for has ended, too.
  expect "application $pid ends with the set" "" "$(grep -v '^[0-9]* (.*) Z ' "/proc/$pid/stat" 2>/dev/null)"
done
[ "$(wc -w <<<"$apps")" -eq 2 ] || { echo "FAILED: no applications to look for: $apps"; failed=1; }

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

# What lies behind a link in a set's directory is not the set's.
mkdir -p "$state/elsewhere/log/apps"
for part in tmp var var/log var/log/settings-service.log; do
  rm -rf "$state/linked" && mkdir -p "$state/linked/$(dirname "$part")"
  : >"$state/linked/.set"
  echo precious | tee "$state/elsewhere/settings-service_ready" "$state/elsewhere/settings-service.log" \
    "$state/elsewhere/log/settings-service.log" >"$state/elsewhere/log/apps/file"
  case $part in *.log) ln -s "$state/elsewhere/settings-service.log" "$state/linked/$part" ;;
    var/log) ln -s "$state/elsewhere/log" "$state/linked/$part" ;;
    *) ln -s "$state/elsewhere" "$state/linked/$part" ;; esac
  "$project/run" --quiet --dir "$state/linked" -- true 2>"$state/err"
  expect "a link in place of $part is refused" 2 $?
  expect "a link in place of $part is named" \
    "run: $state/linked/$part is a symbolic link; remove it, or choose another directory for --dir" \
    "$(cat "$state/err")"
  expect "what lies behind $part stays" 4 "$(grep -rlx precious "$state/elsewhere" | wc -l)"
done
expect "an empty name of a directory is refused" 2 \
  "$("$project/run" --quiet --dir "" -- true 2>/dev/null; echo $?)"

expect "an unknown model is named" 2 "$("$project/run" --model nosuch -- true 2>"$state/err"; echo $?)"
grep -q 'nosuch.*basic' "$state/err" || { echo "FAILED: the models are not listed"; cat "$state/err"; failed=1; }

exit "$failed"
