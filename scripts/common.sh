# Shared by run and test; sourced with the project's directory in $project.

# say TEXT: prints a line for the user. Standard output belongs to the commands.
say() {
  if [ -z "${quiet:-}" ]; then
    printf '%s\n' "$*" >&2
  fi
}

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 2
}

# logged FILE COMMAND…: runs the command with its output in FILE, shown only if it fails.
logged() {
  local log=$1
  shift
  if "$@" >>"$log" 2>&1 </dev/null; then
    return 0
  fi
  printf '%s: "%s" failed:\n' "${0##*/}" "$*" >&2
  tail -n 60 "$log" >&2
  return 1
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    return 127
  fi
}

# missing_packages SECTION…: those of packaging/debian-packages that are not installed. None on a
# system without dpkg.
missing_packages() {
  command -v dpkg-query >/dev/null || return 0
  local list=$project/packaging/debian-packages section package
  for section in "$@"; do
    grep -qx "# $section" "$list" || die "no section \"$section\" in $list"
    while read -r package; do
      case $(dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null) in
        ii*) ;;
        *) printf '%s\n' "$package" ;;
      esac
    done < <(sed -e "1,/^# $section\$/d" -e '/^$/,$d' "$list")
  done
}

# install_missing_packages SECTION…
install_missing_packages() {
  local found missing=()
  found=$(missing_packages "$@")
  [ -n "$found" ] || return 0
  mapfile -t missing <<<"$found"

  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    die "these packages are missing; run as root or install sudo: ${missing[*]}"
  fi
  say "installing: ${missing[*]}"
  local log=$project/build/install.log
  : >"$log"
  logged "$log" as_root apt-get update || return 1
  logged "$log" as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}"
}

# show_progress LOG PROCESS: how far the build that writes the log is, as long as the process lives;
# for a terminal in one line, otherwise at each tenth.
show_progress() {
  local built all tenth=0
  # What sleeps need not be waited for, and keeps nobody's files or locks open.
  while sleep 1 >/dev/null 2>&1 9>&- && kill -0 "$2" 2>/dev/null; do
    IFS=/ read -r built all < <(grep -o '^\[[0-9]*/[0-9]*\]' "$1" | tail -n 1 | tr -d '[]') || continue
    if [ -t 2 ]; then
      printf '\r%d of %d ' "$built" "$all" >&2
    elif [ $((10 * built / all)) -gt "$tenth" ]; then
      tenth=$((10 * built / all))
      printf '%d of %d\n' "$built" "$all" >&2
    fi
  done
}

# build PRESET [-DNAME=VALUE…] [TARGET…]: all targets unless some are named. Waits for another build
# of the same tree to end.
build() {
  local preset=$1 log=$project/build/$1.log options=() targets=()
  shift
  while [[ "${1-}" = -D* ]]; do
    options+=("$1")
    shift
  done
  [ $# -eq 0 ] || targets=(--target "$@")
  say "building ($preset; compiler output is in build/$preset.log)"
  if [ ! -e "$project/build/$preset/.ninja_log" ]; then
    say "the first build usually takes two to three minutes on two cores"
  fi
  (
    flock 9
    cd "$project" || exit 1
    : >"$log"
    if [ -z "${quiet:-}" ]; then
      show_progress "$log" "$BASHPID" &
      trap 'kill $! 2>/dev/null || true; wait $! || true; [ ! -t 2 ] || printf "\r\033[K" >&2' EXIT
    fi
    logged "$log" cmake --preset "$preset" "${options[@]}" &&
      logged "$log" cmake --build --preset "$preset" "${targets[@]}"
  ) 9>"$project/build/$preset.lock"
}

# build_to_run TARGET…: of what a set runs, with the tests left out of the build unless what they
# need is there.
build_to_run() {
  local options=()
  [ -z "$(missing_packages testing)" ] || options=(-DSETTINGS_BUILD_TESTS=OFF)
  build release "${options[@]}" "$@"
}
