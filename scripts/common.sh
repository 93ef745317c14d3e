# Shared by the scripts, which source it. Sets `root` and goes there, so that you can call them from any folder.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

# Numbers are printed and read with a point, and messages of other programs are the same everywhere.
export LC_ALL=C.UTF-8

# VEXEL_QT in the environment is the version of Qt to build with: 5, if nothing is said, or 6.
qt=${VEXEL_QT:-5}
case $qt in
  5) qt_package=qtbase5-dev ;;
  6) qt_package=qt6-base-dev ;;
  *)
    echo "$(basename "$0"): VEXEL_QT is 5 or 6, rather than $qt" >&2
    exit 1
    ;;
esac

# With VEXEL_WARNINGS_AS_ERRORS=1 in the environment, a warning ends every build of the scripts.
case ${VEXEL_WARNINGS_AS_ERRORS:-0} in
  0) warnings_as_errors=OFF ;;
  1) warnings_as_errors=ON ;;
  *)
    echo "$(basename "$0"): VEXEL_WARNINGS_AS_ERRORS is 0 or 1, rather than $VEXEL_WARNINGS_AS_ERRORS" >&2
    exit 1
    ;;
esac

build_packages=(g++ cmake ninja-build ccache pkg-config libgdal-dev "$qt_package" libeigen3-dev libboost-dev
  libcli11-dev)
test_packages=(libgtest-dev gdal-bin libtiff-tools locales make)
fuzz_packages=(clang-14 'libclang-rt-14-dev?' libomp-14-dev)

step() { printf '\n==> %s\n' "$*"; }

die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# words NAME COMMAND...: sets the array NAME to the words that the command prints. A command in the middle of another
# one could fail unnoticed.
words() {
  local -n array=$1
  local printed
  printed=$("${@:2}") || die "${*:2}: failed"
  read -r -d '' -a array <<<"$printed" || true
}

is_installed() {
  [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

as_root() {
  if [[ $EUID -eq 0 ]]; then
    "$@"
  else
    sudo "$@"
  fi
}

# Installs those of the given packages that are missing. A name with a question mark behind it is left out where the
# distribution does not offer it.
install_packages() {
  local package missing=() optional=()
  command -v dpkg-query >/dev/null ||
    die "this needs Debian or Ubuntu; elsewhere, install the likes of ${*//\?/} and use cmake --preset dev"
  for package in "$@"; do
    is_installed "${package%\?}" && continue
    if [[ $package == *\? ]]; then
      optional+=("${package%\?}")
    else
      missing+=("$package")
    fi
  done

  if [[ ${#missing[@]} -gt 0 ]]; then
    if [[ $EUID -ne 0 ]]; then
      command -v sudo >/dev/null || die "not root and no sudo: ask somebody to install ${missing[*]}"
      echo "Installing needs root: sudo may ask for your password."
    fi
    step "Install ${missing[*]}"
    as_root apt-get update -q
  fi
  for package in ${optional[@]+"${optional[@]}"}; do
    if [[ -n $(apt-cache show "$package" 2>/dev/null) ]]; then
      missing+=("$package")
    fi
  done
  if [[ ${#missing[@]} -gt 0 ]]; then
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
  fi
}

# configure PRESET [CMAKE-OPTION...]
configure() {
  cmake --preset "$1" -DVEXEL_QT="$qt" -DVEXEL_WARNINGS_AS_ERRORS="$warnings_as_errors" "${@:2}"
}

# build_preset NAME [CMAKE-OPTION...]
build_preset() {
  step "Configure and build ($1)"
  configure "$@"
  cmake --build --preset "$1"
}
