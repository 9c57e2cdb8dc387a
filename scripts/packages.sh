# Sourced by the scripts: what they need of Debian 12, and a way to have it installed.

build_packages=(
  # tools
  g++ cmake ninja-build ccache pkg-config git python3
  # libraries
  libsqlite3-dev libglib2.0-dev libicu-dev libhowardhinnant-date-dev zlib1g-dev libzip-dev libcairo2-dev
  libpango1.0-dev libjpeg62-turbo-dev nlohmann-json3-dev libfmt-dev libcli11-dev
  # tests
  libgtest-dev libgmock-dev
  # read while running
  tzdata fonts-dejavu-core
)
check_packages=(clang clang-tidy clang-format libclang-rt-14-dev)
docs_packages=(doxygen)

# install_packages NAME...: installs those of the packages that are missing, as root or through sudo.
install_packages() {
  local package missing=()
  for package in "$@"; do
    [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == "install ok installed" ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0

  local as_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || {
      echo "Missing packages: ${missing[*]}. Run this as root, or install sudo." >&2
      return 1
    }
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  "${as_root[@]}" apt-get update -q &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}" || {
    echo "Could not install ${missing[*]}." >&2
    return 1
  }
}
