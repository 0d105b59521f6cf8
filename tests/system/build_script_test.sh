#!/usr/bin/env bash
# What ./run and ./test do before there is anything to run: which packages they install, and what they
# show of a build. Nothing is installed or built: a stand-in writes down what it was asked for.
# shellcheck disable=SC2016  # what is expanded inside the stand-ins
set -u
project=$1
failed=0

expect() { # WHAT EXPECTED ACTUAL
  if [ "$2" != "$3" ]; then
    printf 'FAILED: %s\n  expected: %s\n  got:      %s\n' "$1" "$2" "$3"
    failed=1
  fi
}

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir "$place/bin" "$place/copy"
cp -r "$project/run" "$project/test" "$project/scripts" "$project/packaging" "$place/copy"
mkdir -p "$place/copy/data/models"
cp "$project"/data/models/*.json "$place/copy/data/models"

stand_in() { # NAME SCRIPT
  printf '#!/bin/sh\n%s\n' "$2" >"$place/bin/$1"
  chmod +x "$place/bin/$1"
}
# A machine where what is in the file `installed` is installed, and nothing can be.
: >"$place/installed"
export PLACE=$place
stand_in dpkg-query 'for package; do :; done; grep -qx "$package" "$PLACE/installed" && printf "ii "'
stand_in apt-get 'case $1 in install) shift 3; printf "%s\n" "$@" >"$PLACE/wanted" ;; esac'
stand_in sudo '"$@"'
stand_in ctest 'exit 0'
# A build that goes on until it is told to end.
stand_in cmake '
case $* in
  --preset*) echo "$*" >"$PLACE/configured" ;;
  *) echo "[1/4] one"; echo "[2/4] two"
     tries=0
     while [ -e "$PLACE/go_on" ] && [ $((tries += 1)) -lt 600 ]; do sleep 0.1; done
     exit 1 ;;
esac'
PATH=$place/bin:$PATH

section() { # NAME…: the packages of these
  for name in "$@"; do
    sed -e "1,/^# $name\$/d" -e '/^$/,$d' "$project/packaging/debian-packages"
  done | sort
}
wanted() { # COMMAND…: the packages that it wants to install
  rm -f "$place/wanted"
  "$place/copy/$1" "${@:2}" >"$place/out" 2>"$place/err"
  sort "$place/wanted" 2>/dev/null
}

for name in building running testing checking clang packaging; do
  [ -n "$(section "$name")" ] || { echo "FAILED: no packages for $name"; failed=1; }
done
expect "./run installs what building and running need" "$(section building running)" \
  "$(wanted run -- true)"
expect "./run leaves the tests out of the build" "--preset release -DSETTINGS_BUILD_TESTS=OFF" \
  "$(cat "$place/configured")"
expect "./test installs what testing and checking need, too" \
  "$(section building running testing checking)" "$(wanted test)"
expect "./test keeps the tests in the build" "--preset release" "$(cat "$place/configured")"
expect "./test installs the other compiler when it is asked for" \
  "$(section building running testing checking clang)" "$(wanted test --preset clang)"

section building running testing >"$place/installed"
expect "./run installs nothing when all is there" "" "$(wanted run -- true)"
expect "./run keeps the tests of a build whose packages are there" "--preset release" \
  "$(cat "$place/configured")"

# shown PATTERN: whether the first ./run has printed it; waits for that.
shown() {
  local tries=0
  until grep -q "$1" "$place/err"; do
    if [ $((tries += 1)) -gt 600 ]; then
      printf 'FAILED: not shown: %s\n' "$1"
      cat "$place/err"
      failed=1
      return
    fi
    sleep 0.1
  done
}
for terminal in no yes; do
  touch "$place/go_on"
  if [ "$terminal" = yes ]; then
    TERM=dumb script -qec "'$place/copy/run' -- true" /dev/null >"$place/err" 2>&1 </dev/null &
  else
    "$place/copy/run" -- true >/dev/null 2>"$place/err" &
  fi
  shown 'the first build usually takes'
  shown '2 of 4'
  rm "$place/go_on"
  wait $!
  expect "a build that fails ends ./run (terminal: $terminal)" 1 $?
done

mkdir -p "$place/copy/build/release"
touch "$place/copy/build/release/.ninja_log"
wanted run -- true >/dev/null
expect "a later ./run says nothing of a first build" 0 "$(grep -c 'first build' "$place/err")"
wanted run --quiet -- true >/dev/null
expect "./run --quiet shows nothing of a build" 0 "$(grep -c ' of 4\|^building' "$place/err")"

# Of what ctest leaves behind, as much as ./test reads.
stand_in cmake 'exit 0'
stand_in ctest '
logs=build/$2/Testing/Temporary
mkdir -p "$logs"
echo "$*" >>"$PLACE/tested"
[ "$2" = "$FAILING" ] || exit 0
[ "$2" != clang ] || exit 8
printf "2:Second\n" >"$logs/LastTestsFailed.log"
cat >"$logs/LastTest.log" <<END
1/2 Testing: First
Output:
what the first says
<end of output>
2/2 Testing: Second
Output:
what the second says
<end of output>
Test time = 1.00 sec
END
exit 8'
section building running testing checking >"$place/installed"
FAILING=asan "$place/copy/test" >"$place/out" 2>/dev/null
expect "./test fails when a test does" 1 $?
expect "./test ends with what the test that failed printed" "
asan: Second failed
Output:
what the second says" "$(cat "$place/out")"
FAILING=none "$place/copy/test" >"$place/out" 2>/dev/null
expect "./test passes when all tests do" 0 $?
expect "./test repeats nothing when all tests pass" "" "$(cat "$place/out")"
section building running testing checking clang >"$place/installed"
mkdir -p "$place/copy/build/clang/Testing"
cp -r "$place/copy/build/asan/Testing/Temporary" "$place/copy/build/clang/Testing"
FAILING=clang "$place/copy/test" --preset clang >"$place/out" 2>/dev/null
expect "./test fails when ctest does" 1 $?
expect "./test does not repeat what failed another time" "" "$(cat "$place/out")"
expect "./test leaves to ctest what failed another time" "2:Second" \
  "$(cat "$place/copy/build/asan/Testing/Temporary/LastTestsFailed.log")"

: >"$place/tested"
FAILING=none "$place/copy/test" -R Key --preset release --rerun-failed >/dev/null 2>&1
expect "./test takes --preset behind what is for ctest, too" \
  "--preset release -R Key --rerun-failed" "$(cat "$place/tested")"

exit "$failed"
