#!/usr/bin/env bash
# Installs the Debian packages that a purpose needs and this machine lacks, then returns.
#   scripts/install-deps.sh test   # the test suite (and the sanitizer run): compiler, CMake,
#                                  # GoogleTest, Google Benchmark, pkg-config
#   scripts/install-deps.sh demo   # the libraries and dctool only
#   scripts/install-deps.sh models # the meshed-model test: the mesher's library and JSON
# Runs apt-get as root, or through sudo for another user. Nothing is installed twice.
set -euo pipefail

# One line per package: its name, then the purposes that need it. Add new packages here.
PACKAGES=(
  "cmake demo test"
  "make demo test"
  "g++ demo test"
  "pkg-config test"
  "libgtest-dev test"
  "libbenchmark-dev test"
  "libgmsh-dev test models"
  "nlohmann-json3-dev test models"
)

if [ $# -eq 0 ]; then
  echo "usage: $0 test|demo..." >&2
  exit 2
fi

installed() {
  [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null)" = "install ok installed" ]
}

missing=()
for entry in "${PACKAGES[@]}"; do
  read -r package purposes <<<"$entry"
  for wanted in "$@"; do
    case " $purposes " in
      *" $wanted "*)
        installed "$package" || missing+=("$package")
        break
        ;;
    esac
  done
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null 2>&1; then
    echo "$0: not root and no sudo: install as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  sudo=(sudo)
fi
"${sudo[@]}" apt-get update
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y --no-install-recommends \
  "${missing[@]}"
