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

# install_missing_packages SECTION…: sections of packaging/debian-packages.
install_missing_packages() {
  command -v dpkg-query >/dev/null || return 0
  local list=$project/packaging/debian-packages missing=() section package
  for section in "$@"; do
    grep -qx "# $section" "$list" || die "no section \"$section\" in $list"
    while read -r package; do
      case $(dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2>/dev/null) in
        ii*) ;;
        *) missing+=("$package") ;;
      esac
    done < <(sed -e "1,/^# $section\$/d" -e '/^$/,$d' "$list")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

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

# build PRESET [TARGET…]: builds all targets unless some are named. Waits for another build of the
# same tree to end.
build() {
  local preset=$1 log=$project/build/$1.log targets=()
  shift
  [ $# -eq 0 ] || targets=(--target "$@")
  say "building ($preset; compiler output is in build/$preset.log)"
  (
    flock 9
    cd "$project" || exit 1
    : >"$log"
    logged "$log" cmake --preset "$preset" &&
      logged "$log" cmake --build --preset "$preset" "${targets[@]}"
  ) 9>"$project/build/$preset.lock"
}
