# Sourced by the scripts: what has to be installed, by name, for what.
# shellcheck shell=bash

# To build the component, the command line, the sample host and its window.
build_packages=(
  ca-certificates g++ cmake ninja-build ccache pkg-config
  libsqlite3-dev libpq-dev unixodbc-dev libcli11-dev nlohmann-json3-dev
  zlib1g-dev libxml2-dev libssl-dev
  qt6-base-dev libgl-dev libqt6svg6 qt6-translations-l10n
  python3-minimal librsvg2-bin
)

# To read and write databases at run time.
runtime_packages=(tdsodbc odbc-postgresql)

# To run every test.
test_packages=(
  git libgtest-dev libgmock-dev libbenchmark-dev python3
  sqlite3 postgresql pgbouncer
  python3-xlrd python3-xlwt python3-dbf mdbtools gnumeric
  python3-setuptools python3-wheel mypy
  xvfb xauth dbus dbus-x11 at-spi2-core python3-pyatspi fonts-dejavu-core
  openbox xdotool x11-utils x11-xkb-utils
  zsh fish mandoc man-db appstream desktop-file-utils shared-mime-info
)

# To look at the code without running it; clang reads the flags of the files that clang-tidy looks at.
lint_packages=(clang-14 clang-tidy-14 clang-format-14)

# To build the documentation.
doc_packages=(doxygen python3 python3-markdown weasyprint fonts-dejavu-core)

# To build the Debian packages, to look at them, and to use them in a system of their own.
package_packages=(dpkg-dev debhelper dh-python fakeroot lintian blhc mmdebstrap)

# To build and run the fuzzers.
fuzz_packages=(clang-14 libclang-rt-14-dev llvm-14)

# Installs the packages named that are not there yet; asks for no network when none is missing.
need_packages() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  echo "Installing: ${missing[*]}" >&2
  local as_root=()
  if ((EUID != 0)); then as_root=(sudo); fi
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
