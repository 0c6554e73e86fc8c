# shellcheck shell=bash
# What the builds need from Debian. Sourced by ./dev after say.sh.

# To build and test for both platforms. clang and lld build the tests' MSVC-layout host.
packages_build=(g++ cmake ninja-build ccache pkg-config nlohmann-json3-dev libjansson-dev libgtest-dev
  libgmock-dev googletest libglib2.0-dev libcurl4-openssl-dev ca-certificates libssl-dev zlib1g-dev libbrotli-dev
  libcpp-httplib-dev libcli11-dev librapidcheck-dev
  libsqlite3-dev tcl mosquitto libmosquitto-dev
  g++-mingw-w64-x86-64-posix wine64 wine clang-14 lld-14 dpkg-dev git)
# Besides, for the checks, the benchmarks, fuzzing and packing.
packages_check=(clang-tidy-14 clang-format-14 libclang-rt-14-dev libbenchmark-dev zip)

# ensure_packages PACKAGE...: installs what is missing of them, and only that.
ensure_packages() {
  local missing
  missing=$(missing_packages "$@")
  [[ -z $missing ]] && return
  command -v apt-get >/dev/null || die "needs Debian 12's packages: $missing"
  if [[ $(id -u) != 0 ]]; then
    die "some packages are missing. Install them, then run this again:
  sudo apt-get install --no-install-recommends $missing"
  fi
  # shellcheck disable=SC2086  # a list of names
  step "install packages: $missing" "check the network and apt's sources (this needs Debian 12)" \
    install_packages $missing
}

missing_packages() {
  local installed package missing=()
  installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || true)
  for package in "$@"; do
    grep -qx "$package installed" <<<"$installed" || missing+=("$package")
  done
  echo "${missing[*]}"
}

install_packages() {
  export DEBIAN_FRONTEND=noninteractive
  # A broken third source of the machine's is no reason to stop: the installation tells what it lacks.
  apt-get -q update || true
  apt-get -qy -o Acquire::Retries=3 install --no-install-recommends "$@"
}

# setup_build PRESET...: what building and testing them takes.
setup_build() {
  ensure_packages "${packages_build[@]}"
  if [[ " $* " == *" windows "* ]]; then third_party_ready; fi
}

setup_all() {
  ensure_packages "${packages_build[@]}" "${packages_check[@]}"
  third_party_ready
}
